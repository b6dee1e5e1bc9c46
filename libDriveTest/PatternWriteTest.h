#pragma once

#include "ChunkBackup.h"
#include "DriveTest.h"
#include "libDrive2/AddressStamp.h"
#include "zel/Export.h"

namespace libDriveTest {

/// What the tests have in common that write patterns over a range chunk by chunk, read them back and compare;
/// each chunk is backed up before and restored after it.
class DRIVETEST_API PatternWriteTest : public DriveTest {
public:
    ~PatternWriteTest() override;

protected:
    /// `name` is the test's; it names the logger, too. Static text.
    PatternWriteTest(Drive& tested, const char* name);
    PatternWriteTest(libDrive2::SharedDrive tested, const char* name);

    /// The working values of one run.
    struct Pass {
        RangePlan range;  ///< startLba is where the tested area begins
        std::uint64_t divisor = 1;
        std::uint16_t blocks = 1;  ///< sectors of a chunk
        std::uint64_t fullChunksEnd = 0;
        bool isolate = true;
        bool preserve = true;
        bool verifyOnly = false;
    };

    /// Bytes of a chunk that are compared with the pattern after a good read.
    [[nodiscard]] virtual std::uint32_t bytesToCompare(const Pass& pass) const = 0;

    void allocateBuffers(const Pass& pass);
    /// Makes room for the patterns; the block of each is filled by the caller.
    /// The one of addresses is filled here.
    void allocatePatterns();
    [[nodiscard]] std::uint8_t* getPattern(std::uint32_t index);
    [[nodiscard]] bool verifyPattern(std::uint32_t index, const void* data, std::uint32_t length);
    /// Tests the range and gives the test's result.
    TestResult testChunks(Pass& pass);

    zel::Logger& m_logger;
    std::uint32_t blockBytes = 0;    ///< of one chunk
    std::uint32_t patternCount = 0;  ///< patterns to apply
    /// The last pattern is each sector's own address, as a stamp of this run.
    bool stampsAddresses = false;

private:
    /// What a pattern's turn means for the chunk; a result ends the test.
    struct Turn {
        std::optional<TestResult> ended{};
        bool leavesChunk = false;  ///< no further patterns
    };

    /// A look at each sector of a chunk whose pattern could not be read back at once.
    struct Narrowing {
        const Pass& pass;
        std::uint64_t lba;
        std::uint32_t index;       ///< of the pattern
        bool holdsPattern = true;  ///< the chunk was not put back yet
        bool isDoubtLogged = false;
    };

    bool writePattern(std::uint64_t sector, std::uint16_t count, std::uint32_t index, bool isolate);
    [[nodiscard]] bool isStamp(std::uint32_t index) const {
        return stampsAddresses && index + 1 == patternCount;
    }
    void stampChunk(const Pass& pass, std::uint64_t lba);
    bool writeSingly(std::uint64_t sector, std::uint16_t count, std::uint32_t index);
    void startPartialChunk(Pass& pass, std::uint64_t lba);
    std::optional<TestResult> testChunk(const Pass& pass, std::uint64_t lba, std::uint64_t done);
    /// For a chunk that could not be saved.
    std::optional<TestResult> skipChunk(const Pass& pass, std::uint64_t lba, std::uint64_t done);
    std::optional<TestResult> applyPatterns(const Pass& pass, std::uint64_t lba, std::uint64_t done);
    Turn applyPattern(const Pass& pass, std::uint64_t lba, std::uint32_t index, std::uint64_t& progress);
    Turn handleWriteFailure(const Pass& pass, std::uint64_t lba);
    Turn handleReadFailure(const Pass& pass, std::uint64_t lba, std::uint32_t index);
    Turn narrow(const Pass& pass, std::uint64_t lba, std::uint32_t index);
    Turn reportMismatch(const Pass& pass, std::uint64_t lba, std::uint32_t index);
    std::optional<TestResult> checkSector(Narrowing& narrowing, std::uint64_t sector);
    std::optional<TestResult> restoreChunk(const Pass& pass, std::uint64_t lba);
    std::optional<TestResult> stopIfAsked(const Pass& pass, std::uint64_t lba);

    libDrive2::AddressStamp m_stamp;
    WriteBehaviors m_behaviors;
    ChunkBackup m_backup;
    zel::Buffer m_patterns;
    zel::Buffer m_readBuffer;
};

}  // namespace libDriveTest
