#pragma once

#include "DriveTest.h"

namespace libDriveTest {

/// Reads a range from its start to its end in chunks, optionally only a share of it, and reports every
/// sector that cannot be read.
class LinearReadTest : public DriveTest {
public:
    using DriveTest::DriveTest;
    ~LinearReadTest() override;

    static void init(Test& test);

protected:
    TestResult runTest() override;

private:
    struct Pass;

    void logParameters(const Pass& pass) const;
    TestResult readChunks(Pass& pass);
    void startPartialChunk(Pass& pass, std::uint64_t lba);
    std::optional<TestResult> handleReadFailure(Pass& pass, std::uint64_t lba);
};

}  // namespace libDriveTest
