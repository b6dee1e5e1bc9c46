#pragma once

#include "DriveTest.h"
#include "zel/Export.h"

namespace libDriveTest {

/// What the tests have in common that measure rates, in MB/s (1 MB = 1,048,576 bytes).
class DRIVETEST_API SpeedTest : public DriveTest {
public:
    ~SpeedTest() override;

protected:
    /// `name` is the test's; it names the logger, too. Static text.
    SpeedTest(Drive& tested, const char* name);
    SpeedTest(libDrive2::SharedDrive tested, const char* name);

    /// How a range is cut: into chunks, and these into transfers.
    struct ChunkSizes {
        std::uint16_t hint = 1;  ///< sectors of a transfer
        std::uint32_t sectorsPerChunk = 0;
        std::uint64_t fullChunksEnd = 0;  ///< where the last, partial chunk starts
    };
    /// Chunks of at least `chunkBytes`, as far as there are so many sectors.
    ChunkSizes planChunks(std::uint64_t sectorsToTest, std::uint32_t chunkBytes);

    /// A timed pass of reads.
    struct ReadPass {
        RangePlan range;
        ChunkSizes sizes;
        std::uint64_t percentShare = 100;  ///< of the whole test's progress
        bool announcesChunks = false;
    };
    /// Reads the whole range; a result ends the test.
    std::optional<TestResult> readRange(const ReadPass& pass);
    /// Makes room for chunks of these sizes; false when there are none.
    bool allocateReadBuffer(const ChunkSizes& sizes);

    /// The sectors of a chunk in the partial one's place, which is announced.
    std::uint32_t startChunk(const ChunkSizes& sizes, std::uint64_t done, std::uint64_t lba,
                             std::uint64_t sectorsToTest);

    /// A rate and what is said of it.
    struct Rate {
        const char* name;
        double megabytesPerSecond;
        const char* thresholdName;
        double threshold;
        Event& info;
        Event& notReached;
    };
    [[nodiscard]] static Rate readRate(double megabytesPerSecond);
    /// Says that a rate is below its threshold, if it is; the verdict becomes WARN or FAIL.
    void checkThreshold(const Rate& rate, TestResult& verdict);
    void sendSpeedInfo(const Rate& rate);

    zel::Logger& m_logger;
    std::uint32_t blockBytes = 0;  ///< of one chunk

private:
    bool readSectors(std::uint64_t sector, std::uint32_t count, std::uint16_t sectorsPerRead);

    zel::Buffer m_readBuffer;
};

/// "%.2f MB/s".
String speedText(double megabytesPerSecond);
/// From bytes and milliseconds; infinite when no time passed.
double megabytesPerSecond(double bytes, double milliseconds);

}  // namespace libDriveTest
