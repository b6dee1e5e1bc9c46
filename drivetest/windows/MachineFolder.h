#pragma once

#include <string>

namespace drivetest {

/// "C:\ProgramData\DriveTest": what the product keeps for all users. An administrator makes it, as what
/// belongs to anybody else there, though Windows lets him make it, cannot be trusted.
std::string machineFolder();

}  // namespace drivetest
