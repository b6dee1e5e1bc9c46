#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "drivetest/findings/RegionRates.h"
#include "drivetest/record/RecordedRun.h"

namespace drivetest {

/// How fast a drive was over its sectors, in few parts, to be held against others of its model.
struct RateCurve {
    RegionRates::Direction::Kind kind = RegionRates::Direction::Kind::read;
    std::uint64_t sectorsPerRegion = 0;
    std::uint64_t sectors = 0;                ///< of the drive
    std::vector<float> megabytesPerSecond{};  ///< 0 where too little was measured

    /// Of reading, or of what else there is. Nothing where no part was measured long enough.
    static std::optional<RateCurve> of(const RecordedRun& run);
};

}  // namespace drivetest
