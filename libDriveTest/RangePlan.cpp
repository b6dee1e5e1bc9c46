#include "RangePlan.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

#include "Parameters.h"

namespace libDriveTest {

ChunkPlan ChunkPlan::make(const RangePlan& range, libDrive2::Drive& drive, std::uint64_t shares) {
    ChunkPlan plan;
    if (parameters::xferSizeHinting.value()) {
        const std::uint16_t optimal = drive.getOptimalRd(0xFFFF);
        plan.blockCount = optimal;
        if (range.sectorsToTest / shares < optimal)
            plan.blockCount =
                std::max<std::uint16_t>(1, static_cast<std::uint16_t>(range.sectorsToTest / shares));
    }
    plan.bufferSize = bufferBytes(range.sectorSize, plan.blockCount);
    if (plan.blockCount != 0)
        plan.fullChunkEnd = range.sectorsToTest - range.sectorsToTest % plan.blockCount;
    return plan;
}

libDrive2::_LIBDRIVE2_RETRY_CALLBACK_BEHAVIOR chunkBehavior(std::uint16_t blockCount, bool isolate) {
    return blockCount > 1 && isolate ? libDrive2::LIBDRIVE2_REPORT_ONLY
                                     : libDrive2::LIBDRIVE2_RETRY_AND_REPORT;
}

std::uint32_t bufferBytes(std::uint32_t sectorSize, std::uint32_t sectors) {
    const std::uint64_t bytes = std::uint64_t{sectorSize} * sectors;
    return bytes <= std::numeric_limits<std::uint32_t>::max() ? static_cast<std::uint32_t>(bytes) : 0;
}

double percentOf(double fraction) {
    constexpr int kDigits = 12;
    std::array<char, 32> text{};
    const auto end =
        std::to_chars(text.begin(), text.end(), fraction * 100, std::chars_format::general, kDigits).ptr;
    double percent = 0;
    std::from_chars(text.begin(), end, percent);
    return percent;
}

std::uint64_t toUnsigned(double value) {
    constexpr double kBeyond = 18446744073709551616.0;  // 2^64
    return value > 0 && value < kBeyond ? static_cast<std::uint64_t>(value) : 0;
}

}  // namespace libDriveTest
