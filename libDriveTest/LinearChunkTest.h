#pragma once

#include "DriveTest.h"
#include "zel/Export.h"

namespace libDriveTest {

/// What the tests have in common that read a range from its start to its end in chunks, optionally only a
/// share of it; what becomes of a chunk is each test's own.
class DRIVETEST_API LinearChunkTest : public DriveTest {
public:
    ~LinearChunkTest() override;

    static void init(Test& test);
    TestResult runTest() override;

protected:
    /// The working values of one run.
    struct Pass {
        RangePlan range;
        ChunkPlan chunks;
        std::uint64_t divisor = 1;
        bool isolate = true;
        _LIBDRIVE2_RETRY_CALLBACK_BEHAVIOR behavior = libDrive2::LIBDRIVE2_RETRY_AND_REPORT;
    };

    /// `name` is the test's; it names the logger and the block of parameters, too. Static text.
    LinearChunkTest(Drive& tested, const char* name);
    LinearChunkTest(libDrive2::SharedDrive tested, const char* name);

    /// Makes room for chunks of so many bytes; called once a run.
    virtual void allocate(std::uint32_t bufferBytes) = 0;
    /// Tests one chunk. A result ends the test at once.
    virtual std::optional<TestResult> testChunk(const Pass& pass, std::uint64_t lba) = 0;

    /// Reports a failed read of a chunk, narrowed to its sectors where the test wants that. A result ends the
    /// test at once; `sectorFailed` tells whether narrowing found a bad sector.
    std::optional<TestResult> handleReadFailure(const Pass& pass, std::uint64_t lba, zel::Buffer& buffer,
                                                bool& sectorFailed);

private:
    void logParameters(const Pass& pass) const;
    TestResult testChunks(Pass& pass);
    /// Reads the sectors of a failed chunk one by one, each to its own place, and reports those that fail.
    std::optional<TestResult> narrowReadFailure(const Pass& pass, std::uint64_t lba, zel::Buffer& buffer,
                                                bool& sectorFailed);
    void startPartialChunk(Pass& pass, std::uint64_t lba);

    const char* m_name;
    zel::Logger& m_logger;
};

}  // namespace libDriveTest
