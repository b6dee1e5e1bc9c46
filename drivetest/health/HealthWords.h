#pragma once

#include <string>

#include "drivetest/health/HeatCourse.h"
#include "libDrive2/DriveHealth.h"

namespace drivetest {

/// In the language of the texts: "short", "extended"; "passed", "failed" and so on.
std::string kindText(libDrive2::SelfTestKind kind);
std::string outcomeText(libDrive2::SelfTestOutcome outcome);

/// "31 to 56 °C, 50 °C at the end"
std::string courseText(const HeatCourse& heat);
/// "3 times, 0:12:00 in all, above 55 °C"; empty where it never rested.
std::string restsText(const HeatCourse& heat);

}  // namespace drivetest
