#include "drivetest/statistics/CoverageCounter.h"

#include <algorithm>

#include "zel/Words.h"

namespace drivetest {

namespace {

/// Tests go over a drive in order, so that few spans arise; a sample of a large drive has many.
constexpr std::size_t kMostSpans = 1U << 17;

}  // namespace

const char* nameOf(Coverage::Unit unit) {
    return unit == Coverage::Unit::sectors ? zel::marked("sectors") : zel::marked("positions");
}

CoverageCounter::CoverageCounter(Settled settled) : m_settled(std::move(settled)), m_good(kMostSpans) {}

void CoverageCounter::plan(std::uint64_t count, Coverage::Unit unit) {
    m_planned.requested = count;
    m_planned.unit = unit;
}

bool CoverageCounter::isInside(std::uint64_t lba, std::uint32_t count) const {
    return lba >= m_lba && lba - m_lba <= m_count && count <= m_count - (lba - m_lba);
}

void CoverageCounter::open(std::uint64_t lba, std::uint32_t count) {
    m_lba = lba;
    m_count = count;
    m_whole = State::unknown;
    m_states.clear();
    m_hasFailedTransfer = false;
}

void CoverageCounter::close() {
    settle();
}

void CoverageCounter::visit(std::uint64_t lba, std::uint32_t count) {
    settle();
    open(lba, count);
}

void CoverageCounter::add(std::uint64_t lba, std::uint32_t count, libDrive2::_LIBDRIVE2_ERROR_TYPES outcome) {
    if (count == 0)
        return;
    if (!isInside(lba, count))
        visit(lba, count);
    const bool good = outcome == libDrive2::LIBDRIVE2_NO_ERROR;
    m_hasFailedTransfer |= !good;
    const bool isWhole = count == m_count && m_count > 1;
    if (isWhole || good)
        apply(lba, count, !good ? Step::chunkBad : isWhole ? Step::chunkGood : Step::partGood);
}

void CoverageCounter::condemn(std::uint64_t lba, std::uint64_t count) {
    const std::uint64_t first = std::max(lba, m_lba);
    const std::uint64_t end = std::min(lba + count, m_lba + m_count);
    if (first < end)
        apply(first, static_cast<std::uint32_t>(end - first), Step::condemned);
}

void CoverageCounter::skip(std::uint64_t lba, std::uint32_t count) {
    if (!isInside(lba, count))
        visit(lba, count);
    apply(lba, count, Step::skipped);
}

CoverageCounter::State CoverageCounter::next(State known, Step step) {
    switch (step) {
        // A failed chunk is cleared sector by sector, not by a later transfer that happens to succeed.
        case Step::chunkGood:
            return known == State::unknown ? State::good : known;
        case Step::chunkBad:
            return known == State::good ? State::suspect : std::max(known, State::suspect);
        case Step::partGood:
            return std::max(known, State::good);
        case Step::skipped:
            return std::max(known, State::skipped);
        case Step::condemned:
            return State::failed;
    }
    return known;
}

void CoverageCounter::apply(std::uint64_t lba, std::uint32_t count, Step step) {
    if (count == m_count && m_states.empty()) {
        m_whole = next(m_whole, step);
        return;
    }
    if (m_states.empty())
        m_states.assign(m_count, m_whole);
    const auto first = m_states.begin() + static_cast<std::ptrdiff_t>(lba - m_lba);
    std::transform(first, first + count, first, [step](State known) { return next(known, step); });
}

void CoverageCounter::settleRun(std::uint64_t lba, std::uint64_t count, State state, bool atFirstTry) {
    if (state == State::failed)
        m_positionsFailed += count;
    if (state != State::good || count == 0)
        return;
    m_positionsGood += count;
    if (m_planned.unit == Coverage::Unit::sectors)
        m_good.add(lba, count);
    if (m_settled)
        m_settled(lba, count, atFirstTry);
}

/// A failed transfer is put down to the bad sectors of the chunk, if it has any.
void CoverageCounter::settle() {
    const bool atFirstTry =
        !m_hasFailedTransfer || std::ranges::find(m_states, State::failed) != m_states.end();
    if (m_states.empty()) {
        settleRun(m_lba, m_count, m_whole, atFirstTry);
    } else {
        for (std::size_t start = 0, end = 0; start < m_states.size(); start = end) {
            while (end < m_states.size() && m_states[end] == m_states[start])
                ++end;
            settleRun(m_lba + start, end - start, m_states[start], atFirstTry);
        }
    }
    m_visited += m_count;
    open(0, 0);
}

/// What was good once may have been found bad later.
std::uint64_t CoverageCounter::goodSectors(const BadSectors& bad) {
    std::uint64_t good = m_good.size();
    for (const auto& [first, span] : bad.spans())
        good -= m_good.countWithin(first, span.count);
    return good;
}

Coverage CoverageCounter::finish(const BadSectors& bad) {
    settle();
    Coverage coverage = m_planned;
    const bool countsPositions = coverage.unit == Coverage::Unit::positions;
    coverage.tested = countsPositions ? m_positionsGood : goodSectors(bad);
    coverage.failed = countsPositions ? m_positionsFailed : bad.count();
    coverage.requested = std::max(coverage.requested, coverage.tested + coverage.failed);
    coverage.skipped = coverage.requested - coverage.tested - coverage.failed;
    return coverage;
}

}  // namespace drivetest
