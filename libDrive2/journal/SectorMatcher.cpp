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
    for (std::uint32_t i = 0; i < m_byBeginning.size(); ++i)
        if (const auto mark = AddressStamp::read(content(i)); mark && !isOfRun(mark))
            m_stamps.emplace_back(mark->run);
}

bool SectorMatcher::isOfRun(const std::optional<AddressStamp::Mark>& mark) const {
    return mark && std::any_of(m_stamps.begin(), m_stamps.end(),
                               [&](const AddressStamp& stamp) { return stamp.run() == mark->run; });
}

bool SectorMatcher::hasStamp(Bytes sector) const {
    for (std::size_t unit = 0; !m_stamps.empty() && unit < sector.size() / AddressStamp::kUnitBytes; ++unit)
        if (isOfRun(AddressStamp::readUnit(sector, unit)))
            return true;
    return false;
}

bool SectorMatcher::isExpected(Bytes sector) const {
    if (!m_stamps.empty() && isOfRun(AddressStamp::read(sector)))
        return true;
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

/// A drive may have the same sector behind several addresses, so the stamp need not be the address's own.
/// What the sector names need not be all: a tear may go through a unit. Those that share nothing with its
/// ends are left out; the work is limited, as few sectors are torn.
void SectorMatcher::findStamps(Bytes sector, std::span<const std::uint64_t> lbas) {
    m_found.clear();
    std::vector<AddressStamp::Mark> marks;
    for (std::size_t unit = 0; !m_stamps.empty() && unit < sector.size() / AddressStamp::kUnitBytes; ++unit)
        if (const auto mark = AddressStamp::readUnit(sector, unit);
            mark && isOfRun(mark) && std::find(marks.begin(), marks.end(), *mark) == marks.end())
            marks.push_back(*mark);
    std::vector<std::uint8_t> content(sector.size());
    const auto keep = [&](const AddressStamp::Mark& mark) {
        AddressStamp(mark.run).fill(mark.lba, content);
        if (content.front() == sector.front() || content.back() == sector.back())
            m_found.push_back(content);
    };
    std::for_each(marks.begin(), marks.end(), keep);
    for (const AddressStamp& stamp : m_stamps)
        for (const std::uint64_t lba : lbas)
            if (m_stampsToTry > 0) {
                --m_stampsToTry;
                keep({stamp.run(), lba});
            }
}

bool SectorMatcher::isTorn(Bytes sector, std::span<const std::uint64_t> lbas, Bytes original, bool isTwice) {
    findStamps(sector, lbas);
    std::size_t beginning = std::max(commonBeginning(sector, original), longestBeginning(sector));
    std::size_t end = std::max(commonEnd(sector, original), longestEnd(sector));
    for (const Bytes stamp : m_found) {
        beginning = std::max(beginning, commonBeginning(sector, stamp));
        end = std::max(end, commonEnd(sector, stamp));
    }
    if (beginning + end >= sector.size())
        return true;
    const std::size_t between = sector.size() - beginning - end;
    const auto isBetween = [&](Bytes content) {
        return std::memcmp(sector.data() + beginning, content.data() + beginning, between) == 0;
    };
    return isTwice && (isBetween(original) || std::any_of(m_found.begin(), m_found.end(), isBetween) ||
                       isPiece(sector, beginning, between));
}

}  // namespace libDrive2
