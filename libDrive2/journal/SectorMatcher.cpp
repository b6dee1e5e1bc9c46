#include "libDrive2/journal/SectorMatcher.h"

#include <algorithm>
#include <cstring>
#include <numeric>

namespace libDrive2 {

namespace {

std::size_t commonBeginning(Bytes a, Bytes b) {
    return static_cast<std::size_t>(std::mismatch(a.begin(), a.end(), b.begin()).first - a.begin());
}

std::size_t commonEnd(Bytes a, Bytes b) {
    return static_cast<std::size_t>(std::mismatch(a.rbegin(), a.rend(), b.rbegin()).first - a.rbegin());
}

bool isBefore(Bytes a, Bytes b) {
    return std::memcmp(a.data(), b.data(), a.size()) < 0;
}

bool endsBefore(Bytes a, Bytes b) {
    return std::lexicographical_compare(a.rbegin(), a.rend(), b.rbegin(), b.rend());
}

}  // namespace

SectorMatcher::SectorMatcher(Bytes expected, std::size_t sectorBytes)
    : m_expected(expected), m_sectorBytes(sectorBytes), m_byBeginning(expected.size() / sectorBytes) {
    std::iota(m_byBeginning.begin(), m_byBeginning.end(), 0U);
    std::sort(m_byBeginning.begin(), m_byBeginning.end(),
              [this](std::uint32_t a, std::uint32_t b) { return isBefore(content(a), content(b)); });
}

bool SectorMatcher::isExpected(Bytes sector) const {
    const auto place = std::lower_bound(
        m_byBeginning.begin(), m_byBeginning.end(), sector,
        [this](std::uint32_t index, Bytes wanted) { return isBefore(content(index), wanted); });
    return place != m_byBeginning.end() && std::ranges::equal(content(*place), sector);
}

/// In sorted order, those with the most in common stand beside the sector's place.
std::size_t SectorMatcher::longestBeginning(Bytes sector) const {
    const auto place = std::lower_bound(
        m_byBeginning.begin(), m_byBeginning.end(), sector,
        [this](std::uint32_t index, Bytes wanted) { return isBefore(content(index), wanted); });
    std::size_t longest = 0;
    if (place != m_byBeginning.end())
        longest = commonBeginning(sector, content(*place));
    if (place != m_byBeginning.begin())
        longest = std::max(longest, commonBeginning(sector, content(*(place - 1))));
    return longest;
}

std::size_t SectorMatcher::longestEnd(Bytes sector) {
    if (m_byEnd.empty()) {
        m_byEnd = m_byBeginning;
        std::sort(m_byEnd.begin(), m_byEnd.end(),
                  [this](std::uint32_t a, std::uint32_t b) { return endsBefore(content(a), content(b)); });
    }
    const auto place = std::lower_bound(
        m_byEnd.begin(), m_byEnd.end(), sector,
        [this](std::uint32_t index, Bytes wanted) { return endsBefore(content(index), wanted); });
    std::size_t longest = 0;
    if (place != m_byEnd.end())
        longest = commonEnd(sector, content(*place));
    if (place != m_byEnd.begin())
        longest = std::max(longest, commonEnd(sector, content(*(place - 1))));
    return longest;
}

/// Looks at all contents, so the work is limited: few sectors are torn, foreign ones may be many.
bool SectorMatcher::isPiece(Bytes sector, std::size_t from, std::size_t bytes) {
    const std::uint64_t comparisons = m_byBeginning.size();
    if (comparisons > m_piecesToCompare)
        return false;
    m_piecesToCompare -= comparisons;
    return std::any_of(m_byBeginning.begin(), m_byBeginning.end(), [&](std::uint32_t index) {
        return std::memcmp(sector.data() + from, content(index).data() + from, bytes) == 0;
    });
}

bool SectorMatcher::isTorn(Bytes sector, Bytes original, bool isTwice) {
    const std::size_t beginning = std::max(commonBeginning(sector, original), longestBeginning(sector));
    const std::size_t end = std::max(commonEnd(sector, original), longestEnd(sector));
    if (beginning + end >= sector.size())
        return true;
    const std::size_t between = sector.size() - beginning - end;
    if (!isTwice)
        return false;
    return std::memcmp(sector.data() + beginning, original.data() + beginning, between) == 0 ||
           isPiece(sector, beginning, between);
}

}  // namespace libDrive2
