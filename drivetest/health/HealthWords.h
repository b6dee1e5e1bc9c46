#pragma once

#include <string>

#include "libDrive2/DriveHealth.h"

namespace drivetest {

/// In the language of the texts: "short", "extended"; "passed", "failed" and so on.
std::string kindText(libDrive2::SelfTestKind kind);
std::string outcomeText(libDrive2::SelfTestOutcome outcome);

}  // namespace drivetest
