#pragma once

#include <cstdint>

#include "libDrive2/Drive.h"

namespace libDriveTest {

/// The area that a test works on, as its parameters and the drive's size give it.
struct RangePlan {
    std::uint64_t sectorCount = 0;
    std::uint32_t sectorSize = 0;
    std::uint64_t startLba = 0;
    std::uint64_t endLba = 0;  ///< exclusive
    double fraction = 1.0;     ///< share of the range to test
    std::uint64_t sectorsToTest = 0;

    /// Distance between consecutive tested positions.
    [[nodiscard]] std::uint64_t divisor() const { return (endLba - startLba) / sectorsToTest; }
};

/// How the tested sectors are cut into transfers.
struct ChunkPlan {
    std::uint16_t blockCount = 1;
    std::uint32_t bufferSize = 0;
    std::uint64_t fullChunkEnd = 0;  ///< index at which the last, partial chunk starts

    /// One sector a chunk unless the parameter XferSizeHinting is set; then what the drive reads best, but
    /// not more than one part in `shares` of the sectors to test.
    static ChunkPlan make(const RangePlan& range, libDrive2::Drive& drive, std::uint64_t shares);
};

/// Where the time is limited, so many bytes are visited in one piece.
inline constexpr std::uint32_t kSpreadRunBytes = 32U << 20;

/// Reporting without retries where failing chunks are narrowed to sectors, else everything.
libDrive2::_LIBDRIVE2_RETRY_CALLBACK_BEHAVIOR chunkBehavior(std::uint16_t blockCount, bool isolate);

/// The size of a buffer for so many sectors; 0 where 32 bits cannot hold it.
std::uint32_t bufferBytes(std::uint32_t sectorSize, std::uint32_t sectors);

/// A share of 1 as a percentage, without the dust that its binary form leaves beyond 12 digits.
double percentOf(double fraction);

/// Truncates; what no unsigned number can hold becomes 0.
std::uint64_t toUnsigned(double value);

}  // namespace libDriveTest
