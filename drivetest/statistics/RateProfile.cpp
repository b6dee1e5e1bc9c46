#include "drivetest/statistics/RateProfile.h"

#include <algorithm>

namespace drivetest {

/// Each region gets its sectors of a transfer that goes over several, and their part of its time.
void RateProfile::share(Moved Region::*direction, std::uint64_t lba, std::uint32_t count,
                        std::chrono::nanoseconds elapsed) {
    while (count > 0 && m_grid.partOf(lba) < m_regions.size()) {
        const std::uint64_t region = m_grid.partOf(lba);
        const std::uint64_t left = (region + 1) * sectorsPerRegion() - lba;
        const auto part = static_cast<std::uint32_t>(std::min<std::uint64_t>(count, left));
        const auto time = elapsed / count * part + elapsed % count * part / count;
        Moved& moved = m_regions[region].*direction;
        moved.sectors += part;
        moved.elapsed += time;
        elapsed -= time;
        lba += part;
        count -= part;
    }
}

}  // namespace drivetest
