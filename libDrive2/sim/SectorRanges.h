#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

namespace libDrive2 {

/// A range of sectors, both ends included.
struct SectorRange {
    std::uint64_t first;
    std::uint64_t last;

    bool operator==(const SectorRange&) const = default;
};

/// A set of sector ranges with quick look-up of what a transfer touches.
class SectorRanges {
public:
    void add(SectorRange range) {
        m_ranges.push_back(range);
        std::sort(m_ranges.begin(), m_ranges.end(), [](auto a, auto b) { return a.first < b.first; });
    }
    [[nodiscard]] bool isEmpty() const { return m_ranges.empty(); }
    [[nodiscard]] const std::vector<SectorRange>& ranges() const { return m_ranges; }

    /// The lowest sector of the set in [lba, lba + count); false when there is none.
    bool findFirst(std::uint64_t lba, std::uint64_t count, std::uint64_t& hit) const {
        bool found = false;
        if (count == 0)
            return false;
        for (const SectorRange& range : m_ranges) {
            if (range.first >= lba + count)
                break;
            if (range.last < lba)
                continue;
            const std::uint64_t candidate = std::max(lba, range.first);
            hit = found ? std::min(hit, candidate) : candidate;
            found = true;
        }
        return found;
    }

    /// Whether all of [lba, lba + count) belongs to the set.
    [[nodiscard]] bool holds(std::uint64_t lba, std::uint64_t count) const {
        const std::uint64_t end = lba + count;
        for (const SectorRange& range : m_ranges)
            if (range.first <= lba && range.last >= lba)
                lba = range.last + 1;
        return lba >= end;
    }

private:
    std::vector<SectorRange> m_ranges;
};

}  // namespace libDrive2
