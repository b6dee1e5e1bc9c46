#pragma once

#include "zel/Log.h"

namespace libDriveTest {

/// The logger "libDriveTest.DriveTest" of the parts of the base class.
zel::Logger& driveTestLogger();

/// The logger of the test of that name, "libDriveTest.NAME".
zel::Logger& loggerOf(const char* testName);

}  // namespace libDriveTest
