#include "drivetest/statistics/BadSectors.h"

#include <algorithm>

namespace drivetest {

using libDrive2::SectorFault;

namespace {

constexpr std::size_t kMostSpans = 1U << 20;
/// Words that differ from sector to sector must not fill the memory: the rest stand without words.
constexpr std::size_t kMostCauses = 1024;

}  // namespace

const char* nameOf(SectorFault fault) {
    switch (fault) {
        case SectorFault::unreadable:
            return "unreadable";
        case SectorFault::unwritable:
            return "unwritable";
        case SectorFault::unreachable:
            return "unreachable";
        case SectorFault::wrongData:
            return "wrongData";
    }
    return "";
}

std::size_t BadSectors::indexOf(Cause cause) {
    const bool isFull = m_causes.size() >= kMostCauses;
    auto found = std::find(m_causes.rbegin(), m_causes.rend(), cause);
    if (found == m_causes.rend() && isFull) {
        cause.words.clear();
        found = std::find(m_causes.rbegin(), m_causes.rend(), cause);
    }
    if (found != m_causes.rend())
        return static_cast<std::size_t>(m_causes.rend() - found) - 1;
    m_causes.push_back(std::move(cause));
    return m_causes.size() - 1;
}

/// The gaps between what is known already are new.
std::size_t BadSectors::add(const libDrive2::CondemnedSectors& condemned) {
    const std::size_t cause = indexOf({condemned.fault, condemned.words.utf8()});
    std::uint64_t lba = condemned.sectors.lba;
    const std::uint64_t end = lba + condemned.sectors.count;
    while (lba < end) {
        const auto next = m_spans.upper_bound(lba);
        if (next != m_spans.begin()) {
            const auto& [first, known] = *std::prev(next);
            if (lba < first + known.count) {
                lba = first + known.count;
                continue;
            }
        }
        const std::uint64_t gapEnd = next == m_spans.end() ? end : std::min(end, next->first);
        insert(lba, gapEnd - lba, cause);
        lba = gapEnd;
    }
    return cause;
}

void BadSectors::insert(std::uint64_t lba, std::uint64_t count, std::size_t cause) {
    m_count += count;
    auto next = m_spans.upper_bound(lba);
    if (next != m_spans.begin()) {
        auto& [first, span] = *std::prev(next);
        if (first + span.count == lba && span.cause == cause) {
            span.count += count;
            return;
        }
    }
    if (m_spans.size() < kMostSpans)
        m_spans.emplace_hint(next, lba, Span{count, cause});
    else
        m_isIncomplete = true;
}

std::vector<libDrive2::SectorSpan> BadSectors::ranges() const {
    std::vector<libDrive2::SectorSpan> ranges;
    for (const auto& [first, span] : m_spans) {
        if (!ranges.empty() && ranges.back().lba + ranges.back().count == first)
            ranges.back().count += span.count;
        else
            ranges.push_back({first, span.count});
    }
    return ranges;
}

}  // namespace drivetest
