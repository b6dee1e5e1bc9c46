#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "drivetest/record/RecordedRun.h"

namespace drivetest {

/// What a run of a drive shows that an earlier one did not.
struct RunComparison {
    using Range = std::pair<std::uint64_t, std::uint64_t>;  ///< first and last sector
    struct SlowerRegion {
        std::uint64_t first;
        std::uint64_t last;
        double before;  ///< MB/s
        double now;
    };
    struct SlowerTransfer {
        Range sectors;
        double beforeUs;  ///< the slowest thereabouts
        double nowUs;
    };

    std::vector<Range> newBad{};     ///< bad now, and not before
    std::vector<Range> noMoreBad{};  ///< bad before, and not now: better, or not tested
    std::vector<SlowerRegion> slower{};
    std::vector<SlowerTransfer> slowerTransfers{};  ///< over 150 ms now, and twice what they took before

    static RunComparison of(const RecordedRun& before, const RecordedRun& now);
};

std::uint64_t sectorsOf(const std::vector<RunComparison::Range>& ranges);

/// Whether both records are of one drive: by its serial number and model, or by where it is when it has none.
bool isSameDrive(const RecordedDrive& a, const RecordedDrive& b);

}  // namespace drivetest
