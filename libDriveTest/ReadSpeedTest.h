#pragma once

#include "SpeedTest.h"
#include "zel/Export.h"

namespace libDriveTest {

/// Reads a range from its start to its end in large chunks and measures the sustained rate.
class DRIVETEST_API ReadSpeedTest : public SpeedTest {
public:
    explicit ReadSpeedTest(Drive& tested);
    explicit ReadSpeedTest(libDrive2::SharedDrive tested);
    ~ReadSpeedTest() override;

    static void init(Test& test);
    TestResult runTest() override;

private:
    void logParameters(const ReadPass& pass, double threshold) const;
    TestResult measure(const ReadPass& pass);
};

}  // namespace libDriveTest
