#pragma once

#include <cstdint>
#include <optional>

#include "drivetest/record/RecordedRun.h"

namespace drivetest {

/// The part of a drive that was slowest for where it lies: disks become slower from the outer tracks to the
/// inner ones, so that no rate is good or bad by itself.
struct SlowestRegion {
    std::uint64_t first;
    std::uint64_t last;
    double percent;  ///< of the rate that the other regions let expect there

    /// Nothing where too few regions were measured, or all too shortly, to tell one from the others.
    static std::optional<SlowestRegion> of(const RecordedRun& run);
};

}  // namespace drivetest
