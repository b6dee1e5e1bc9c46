#include "drivetest/statistics/RateProfile.h"

#include <algorithm>
#include <utility>

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
        m_changed[region] = 1;
        elapsed -= time;
        lba += part;
        count -= part;
    }
}

std::vector<RateProfile::Changed> RateProfile::takeChanged() {
    std::vector<Changed> changed;
    for (std::size_t i = 0; i < m_changed.size(); ++i)
        if (std::exchange(m_changed[i], std::uint8_t{0}) != 0)
            changed.push_back({i, m_regions[i]});
    return changed;
}

bool RateProfile::restore(const Changed& changed) {
    if (changed.index >= m_regions.size())
        return false;
    m_regions[changed.index] = changed.region;
    return true;
}

}  // namespace drivetest
