#include "drivetest/statistics/SectorSet.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

namespace drivetest {

namespace {

/// So many that merging them costs each but a small share of the spans' number.
constexpr std::size_t kMostWaiting = 1U << 16;

constexpr unsigned kDigitBits = 12;
constexpr std::size_t kDigits = std::size_t{1} << kDigitBits;

}  // namespace

std::uint64_t SectorSet::Span::sharedWith(const Span& other) const {
    const std::uint64_t from = std::max(first, other.first);
    const std::uint64_t to = std::min(end, other.end);
    return from < to ? to - from : 0;
}

void SectorSet::begin(const Span& run) {
    if (!m_isFull) {
        const std::size_t most = std::min(kMostWaiting, m_mostSpans);
        if (m_waiting.empty())
            m_waiting.reserve(most + 1);
        if (m_run.size() != 0)
            m_waiting.push_back(m_run);
        m_run = run;
        if (m_waiting.size() >= most)
            settle();
    } else if (run.first >= m_run.end) {
        m_size += m_run.size();
        m_run = run;
    }
}

/// Afterwards all that was added is in m_spans, but for what a full set has no room for.
void SectorSet::settle() {
    if (m_isFull)
        return;
    if (m_run.size() != 0)
        m_waiting.push_back(m_run);
    if (m_waiting.empty())
        return;
    sortWaiting();
    merge();
    join();
    m_run = {m_run.end, m_run.end};
    m_isFull = m_spans.size() >= m_mostSpans;
    if (m_isFull)
        m_run.first = m_run.end = m_spans.back().end;
}

/// By first sector, a digit at a time from the lowest: comparisons would cost several times as much.
void SectorSet::sortWaiting() {
    const auto isBefore = [](const Span& a, const Span& b) { return a.first < b.first; };
    if (std::is_sorted(m_waiting.begin(), m_waiting.end(), isBefore))
        return;
    std::uint64_t differing = 0;
    for (const Span& span : m_waiting)
        differing |= span.first ^ m_waiting.front().first;
    m_sorted.resize(m_waiting.size());
    for (unsigned shift = 0; shift < 64 && differing >> shift != 0; shift += kDigitBits) {
        std::array<std::uint32_t, kDigits> places{};
        for (const Span& span : m_waiting)
            ++places[(span.first >> shift) % kDigits];
        std::uint32_t next = 0;
        for (std::uint32_t& place : places)
            next += std::exchange(place, next);
        for (const Span& span : m_waiting)
            m_sorted[places[(span.first >> shift) % kDigits]++] = span;
        m_waiting.swap(m_sorted);
    }
}

/// In place, from the back: the memory grows by what is new.
void SectorSet::merge() {
    m_spans.reserve(m_mostSpans + kMostWaiting + 1);
    auto known = m_spans.size();
    m_spans.resize(known + m_waiting.size());
    auto place = m_spans.size();
    for (auto waiting = m_waiting.size(); waiting > 0;) {
        const Span& latest = m_waiting[waiting - 1];
        const bool isBehind = known == 0 || m_spans[known - 1].first <= latest.first;
        m_spans[--place] = isBehind ? latest : m_spans[known - 1];
        waiting -= isBehind ? 1 : 0;
        known -= isBehind ? 0 : 1;
    }
    m_waiting.clear();
}

/// Spans in order that touch or overlap become one.
void SectorSet::join() {
    auto last = m_spans.begin();
    m_size = last->size();
    for (auto span = std::next(last); span != m_spans.end(); ++span) {
        if (span->first > last->end) {
            *++last = *span;
            m_size += span->size();
        } else if (span->end > last->end) {
            m_size += span->end - last->end;
            last->end = span->end;
        }
    }
    m_spans.erase(std::next(last), m_spans.end());
}

std::uint64_t SectorSet::size() {
    settle();
    return m_size + m_run.size();
}

std::uint64_t SectorSet::countWithin(std::uint64_t lba, std::uint64_t count) {
    settle();
    const Span wanted{lba, lba + count};
    auto span = std::partition_point(m_spans.cbegin(), m_spans.cend(),
                                     [lba](const Span& each) { return each.end <= lba; });
    std::uint64_t known = m_run.sharedWith(wanted);
    for (; span != m_spans.cend() && span->first < wanted.end; ++span)
        known += span->sharedWith(wanted);
    return known;
}

std::vector<libDrive2::SectorSpan> SectorSet::ranges() {
    settle();
    std::vector<libDrive2::SectorSpan> all;
    all.reserve(m_spans.size());
    for (const Span& span : m_spans)
        all.push_back({span.first, span.size()});
    return all;
}

}  // namespace drivetest
