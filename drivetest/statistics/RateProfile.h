#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "drivetest/statistics/DriveGrid.h"

namespace drivetest {

/// What was read and written in each region of a drive, and the time it took: how the rate changes from one
/// end to the other.
class RateProfile {
public:
    static constexpr std::size_t kMostRegions = 1024;

    struct Moved {
        std::uint64_t sectors = 0;
        std::chrono::nanoseconds elapsed{0};
    };
    struct Region {
        Moved read, written;
    };

    explicit RateProfile(std::uint64_t sectors)
        : m_grid(sectors, kMostRegions), m_regions(m_grid.size()), m_changed(m_grid.size()) {}

    [[nodiscard]] std::uint64_t sectorsPerRegion() const { return m_grid.sectorsPerPart(); }
    [[nodiscard]] const std::vector<Region>& regions() const { return m_regions; }

    /// `direction` is &Region::read or &Region::written.
    void add(Moved Region::*direction, std::uint64_t lba, std::uint32_t count,
             std::chrono::nanoseconds elapsed) {
        const std::uint64_t region = m_grid.partOf(lba);
        if (region < m_regions.size() && m_grid.partOf(lba + count - 1) == region) {
            Moved& moved = m_regions[region].*direction;
            moved.sectors += count;
            moved.elapsed += elapsed;
            m_changed[region] = 1;
        } else {
            share(direction, lba, count, elapsed);
        }
    }

    struct Changed {
        std::size_t index;
        Region region;
    };
    /// What was added to since the last call, as it is now.
    [[nodiscard]] std::vector<Changed> takeChanged();
    /// False when there is no such region.
    [[nodiscard]] bool restore(const Changed& changed);

private:
    void share(Moved Region::*direction, std::uint64_t lba, std::uint32_t count,
               std::chrono::nanoseconds elapsed);

    DriveGrid m_grid;
    std::vector<Region> m_regions;
    std::vector<std::uint8_t> m_changed;  ///< of each region
};

}  // namespace drivetest
