#pragma once

#include "DriveTest.h"

namespace libDriveTest {

/// Moves between the two ends of a range in strokes that get shorter and shorter, and reports positions that
/// cannot be reached.
class FunnelSeekTest : public DriveTest {
public:
    using DriveTest::DriveTest;
    ~FunnelSeekTest() override;

    static void init(Test& test);

protected:
    TestResult runTest() override;

private:
    struct Pass;

    void logParameters(const Pass& pass) const;
    TestResult seek(Pass& pass);
    /// What ends the test at once; nothing when it goes on.
    std::optional<TestResult> handleFailure(std::uint64_t lba, std::uint64_t previous);
};

}  // namespace libDriveTest
