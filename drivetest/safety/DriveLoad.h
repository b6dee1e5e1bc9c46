#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "drivetest/ExitStatus.h"
#include "drivetest/terminal/Console.h"

namespace drivetest {

/// How long a drive has been at work since the system started, for whomever; nothing where the system does
/// not tell: of image files, simulated drives, and drives that it does not show.
std::optional<std::chrono::milliseconds> busyTimeOf(const std::string& device);

/// The drive as a whole is busy for that share of its time, in percent, while others use it; at most 100.
/// Watches it for some seconds, or until a stop is asked for.
std::optional<unsigned> measureLoad(const std::string& device);

/// Whether others leave the drive so much time that it may be tested now: kExitPass, or kExitBusy after a
/// sentence that says why not. `mostPercent` 0 allows any load.
ExitStatus checkLoad(const std::string& device, unsigned mostPercent, Console& console);

}  // namespace drivetest
