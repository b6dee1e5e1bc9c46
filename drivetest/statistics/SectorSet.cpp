#include "drivetest/statistics/SectorSet.h"

#include <algorithm>

namespace drivetest {

void SectorSet::addElsewhere(std::uint64_t lba, std::uint64_t count) {
    if (count == 0)
        return;
    const std::uint64_t end = lba + count;
    if (m_spans.size() < m_mostSpans)
        insert(lba, end);
    else if (lba >= m_end)
        m_size += count;
    m_end = std::max(m_end, end);
}

/// The first span that ends behind this sector.
SectorSet::Spans::const_iterator SectorSet::firstBehind(std::uint64_t lba) const {
    auto span = m_spans.upper_bound(lba);
    if (span != m_spans.begin() && std::prev(span)->second > lba)
        --span;
    return span;
}

std::uint64_t SectorSet::countWithin(std::uint64_t lba, std::uint64_t count) const {
    const std::uint64_t end = lba + count;
    std::uint64_t known = 0;
    for (auto span = firstBehind(lba); span != m_spans.end() && span->first < end; ++span)
        known += std::min(end, span->second) - std::max(lba, span->first);
    return known;
}

/// Spans that it touches become one with it.
void SectorSet::insert(std::uint64_t first, std::uint64_t end) {
    m_size += end - first - countWithin(first, end - first);
    auto span = firstBehind(first == 0 ? 0 : first - 1);
    while (span != m_spans.end() && span->first <= end) {
        first = std::min(first, span->first);
        end = std::max(end, span->second);
        span = m_spans.erase(span);
    }
    m_latest = m_spans.emplace(first, end).first;
}

}  // namespace drivetest
