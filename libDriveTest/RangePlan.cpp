#include "RangePlan.h"

#include <algorithm>

namespace libDriveTest {

ChunkPlan ChunkPlan::make(const RangePlan& range, bool hinting, std::uint16_t optimal, std::uint64_t shares) {
    ChunkPlan plan;
    if (hinting) {
        plan.blockCount = optimal;
        if (range.sectorsToTest / shares < optimal)
            plan.blockCount =
                std::max<std::uint16_t>(1, static_cast<std::uint16_t>(range.sectorsToTest / shares));
    }
    plan.bufferSize = range.sectorSize * plan.blockCount;
    if (plan.blockCount != 0)
        plan.fullChunkEnd = range.sectorsToTest - range.sectorsToTest % plan.blockCount;
    return plan;
}

libDrive2::_LIBDRIVE2_RETRY_CALLBACK_BEHAVIOR chunkBehavior(std::uint16_t blockCount, bool isolate) {
    return blockCount > 1 && isolate ? libDrive2::LIBDRIVE2_REPORT_ONLY
                                     : libDrive2::LIBDRIVE2_RETRY_AND_REPORT;
}

std::uint64_t toUnsigned(double value) {
    constexpr double kBeyond = 18446744073709551616.0;  // 2^64
    return value > 0 && value < kBeyond ? static_cast<std::uint64_t>(value) : 0;
}

}  // namespace libDriveTest
