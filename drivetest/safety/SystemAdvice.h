#pragma once

#include <string>

namespace drivetest {

/// What people do on this system about a drive that somebody uses, in the words that it has for that.
std::string adviceOnUsedDrive();

/// And about one whose ATA password keeps everybody out.
std::string adviceOnLockedDrive();

/// A name that a drive may have on this system, for examples.
std::string exampleDrive();

}  // namespace drivetest
