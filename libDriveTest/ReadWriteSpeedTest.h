#pragma once

#include "ChunkBackup.h"
#include "SharedParameter.h"
#include "SpeedTest.h"
#include "zel/Export.h"

namespace libDriveTest {

/// Measures the sustained read rate over one range and the write rate over another; what it overwrites with
/// random data it backs up before and puts back after. It writes to the drive.
class DRIVETEST_API ReadWriteSpeedTest : public SpeedTest {
public:
    explicit ReadWriteSpeedTest(Drive& tested);
    explicit ReadWriteSpeedTest(libDrive2::SharedDrive tested);
    ~ReadWriteSpeedTest() override;

    static void init(Test& test);
    TestResult runTest() override;

private:
    struct WritePass;

    TestResult setUpRanges(RangePlan& reads, RangePlan& writes);
    bool parseRangeParam(const SharedParameter<String>& given, const RangePlan& plan, std::uint64_t& lba);
    void logParameters(const ReadPass& reads, const RangePlan& writes) const;
    void setupPattern(std::size_t bytes);

    /// The read phase; a result ends the test, else `rate` is set.
    std::optional<TestResult> measureReads(const ReadPass& pass, double& rate);
    /// The write phase; a result ends the test, else `rate` is set.
    std::optional<TestResult> measureWrites(const RangePlan& range, double& rate);
    std::optional<TestResult> writeRange(WritePass& pass);
    std::optional<TestResult> writeChunk(WritePass& pass, std::uint64_t lba, std::uint64_t done,
                                         std::uint32_t sectors);
    /// For a chunk that could not be saved.
    std::optional<TestResult> skipChunk(const WritePass& pass, std::uint64_t lba, std::uint64_t done,
                                        std::uint32_t sectors);
    static void showProgress(const WritePass& pass, std::uint64_t done);
    std::optional<TestResult> testSavedChunk(WritePass& pass, std::uint64_t lba, std::uint64_t done,
                                             std::uint32_t sectors);
    std::optional<TestResult> timeChunk(WritePass& pass, std::uint64_t lba, std::uint64_t done,
                                        std::uint32_t sectors);
    bool writePattern(std::uint64_t sector, std::uint32_t count, std::uint16_t sectorsPerOp,
                      const void* pattern);
    std::optional<TestResult> restoreChunk(std::uint64_t lba, std::uint32_t sectors);
    TestResult sendRates(double readRate, double writeRate);

    WriteBehaviors m_behaviors;
    ChunkBackup m_backup;
    zel::Buffer m_pattern;
};

}  // namespace libDriveTest
