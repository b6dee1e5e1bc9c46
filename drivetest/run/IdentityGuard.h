#pragma once

#include <optional>
#include <string>

#include "drivetest/run/DataGuard.h"
#include "libDrive2/DriveIdentity.h"

namespace drivetest {

/// What the drive is now; nothing for one that cannot be opened. Blocks as long as it does.
std::optional<libDrive2::DriveIdentity> lookAt(const std::string& locator);

/// guardDrive() for a drive that was asked already what it is, and is not opened. Nothing for one that said
/// nothing: then only journals are guarded.
DataGuard guardIdentified(const std::string& locator, const std::optional<libDrive2::DriveIdentity>& identity,
                          const std::string& journalFolder);

}  // namespace drivetest
