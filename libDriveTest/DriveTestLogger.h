#pragma once

#include "zel/Log.h"

namespace libDriveTest {

/// The logger "libDriveTest.DriveTest" of the parts of the base class.
zel::Logger& driveTestLogger();

}  // namespace libDriveTest
