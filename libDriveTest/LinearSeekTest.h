#pragma once

#include "DriveTest.h"

namespace libDriveTest {

/// Moves to positions of a range in ascending order and reports those that cannot be reached.
class LinearSeekTest : public DriveTest {
public:
    using DriveTest::DriveTest;
    ~LinearSeekTest() override;

    static void init(Test& test);

protected:
    TestResult runTest() override;

private:
    struct Pass;

    void logParameters(const RangePlan& range) const;
    TestResult seek(Pass& pass);
    /// What ends the test at once; nothing when it goes on.
    std::optional<TestResult> handleFailure(std::uint64_t lba);
};

}  // namespace libDriveTest
