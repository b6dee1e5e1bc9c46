#pragma once

#include "DriveTest.h"

namespace libDriveTest {

/// Moves to positions drawn at random from a range and reports those that cannot be reached.
class RandomSeekTest : public DriveTest {
public:
    using DriveTest::DriveTest;
    ~RandomSeekTest() override;

    static void init(Test& test);

protected:
    TestResult runTest() override;

private:
    struct Pass;

    void logParameters(const RangePlan& range) const;
    TestResult seek(Pass& pass);
    /// What ends the test at once; nothing when it goes on.
    std::optional<TestResult> handleFailure(std::uint64_t lba, std::uint64_t previous);
};

}  // namespace libDriveTest
