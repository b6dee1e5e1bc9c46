#pragma once

#include <string>

#include "libDrive2/DriveHealth.h"
#include "zel/Words.h"

namespace drivetest {

/// What a drive said of its health at one time.
struct HealthReading {
    bool isBySmartctl = false;  ///< else by the drive layer's own commands
    zel::Wording problem{};     ///< why smartctl, which is installed, did not tell; empty for nothing
    libDrive2::DriveHealth health{};
};

/// The names of records.
inline constexpr const char* kHealthBefore = "before";
inline constexpr const char* kHealthAfter = "after";
inline constexpr const char* kHealthBySmartctl = "smartctl";
inline constexpr const char* kHealthByDrive = "drive";

}  // namespace drivetest
