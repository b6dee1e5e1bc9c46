#pragma once

#include "drivetest/record/Json.h"
#include "drivetest/report/RunReporter.h"
#include "quix5/DiagDevice.h"
#include "quix5/Value.h"

namespace drivetest {

/// What the parts of a record call the drive and the program.
inline constexpr const char* kHardwareId = "drive";
inline constexpr const char* kSoftwareId = "drivetest";

Json jsonOf(const quix5::Value& value);

/// What is known before the drive is obtained: the program, the drive, the parameters in force.
Json runStartJson(const RunStart& start);
/// From the drive to the processor; empty where the system does not tell.
Json linksJson(const quix5::DiagDevice& device);
/// What the drive says of itself, and how it is reached.
Json driveJson(const DriveAccess& access);

}  // namespace drivetest
