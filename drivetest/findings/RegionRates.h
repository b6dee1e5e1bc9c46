#pragma once

#include <vector>

#include "drivetest/record/RecordedRun.h"

namespace drivetest {

/// How fast the parts of a drive were.
struct RegionRates {
    struct Direction {
        enum class Kind { read, written, both };
        Kind kind;
        std::vector<RecordedMoved> regions;
    };

    std::uint64_t sectorsPerRegion = 0;
    std::uint64_t sectors = 0;            ///< of the drive
    std::vector<Direction> directions{};  ///< those in which anything was moved

    /// At most `most` regions.
    static RegionRates of(const RecordedRun& run, std::size_t most);

    [[nodiscard]] std::uint64_t firstSector(std::size_t region) const { return region * sectorsPerRegion; }
    [[nodiscard]] std::uint64_t lastSector(std::size_t region) const;
};

}  // namespace drivetest
