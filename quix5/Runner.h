#pragma once

#include "quix5/DiagDevice.h"
#include "quix5/Host.h"
#include "quix5/Module.h"
#include "zel/Export.h"

namespace quix5 {

/// Whether the test may be run on the device: false when the device carries a property that excludes it.
DRIVETEST_API bool isOffered(const Test& test, const DiagDevice& device);

/// Runs one test on one device: obtains the drive, lets the host attach to it, runs the test (a destructive
/// one under the write guard). The host must be installed in DiagModule and the parameters set. Blocks until
/// the test ends. An exception from the module gives INTERNALERROR.
DRIVETEST_API TestResult runTest(const OfferedTest& test, const DiagDevice& device, OpenMode mode,
                                 Host& host);

}  // namespace quix5
