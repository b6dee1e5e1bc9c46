#include "drivetest/statistics/CoverageCounter.h"

#include <algorithm>

namespace drivetest {

namespace {

/// Errors that tell of the drive as a whole, not of the sectors.
bool speaksOfSectors(libDrive2::_LIBDRIVE2_ERROR_TYPES error) {
    switch (error) {
        case libDrive2::LIBDRIVE2_MEDIA_ERROR:
        case libDrive2::LIBDRIVE2_DRIVE_ERROR:
        case libDrive2::LIBDRIVE2_LINK_ERROR:
        case libDrive2::LIBDRIVE2_TIMEOUT:
            return true;
        default:
            return false;
    }
}

}  // namespace

bool CoverageCounter::isInside(std::uint64_t lba, std::uint32_t count) const {
    return lba >= m_lba && lba - m_lba <= m_count && count <= m_count - (lba - m_lba);
}

void CoverageCounter::open(std::uint64_t lba, std::uint32_t count) {
    m_lba = lba;
    m_count = count;
    m_whole = State::unknown;
    m_narrowed = false;
    m_states.clear();
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
    if (!good && !speaksOfSectors(outcome)) {
        // Gone while a failed chunk was looked into: what failed before may have been the same.
        m_narrowed = m_narrowed || count < m_count;
        return;
    }
    if (count == m_count && m_count > 1) {
        m_narrowed = m_narrowed && good;
        applyToAll(good ? Step::chunkGood : Step::chunkBad);
    } else {
        m_narrowed = true;
        applyToPart(lba, count, good ? Step::partGood : Step::partBad);
    }
}

CoverageCounter::State CoverageCounter::next(State known, Step step) {
    if (known == State::failed)
        return known;
    switch (step) {
        // A failed chunk is cleared sector by sector, not by a later transfer that happens to succeed.
        case Step::chunkGood:
            return known == State::suspect ? known : State::good;
        case Step::chunkBad:
            return State::suspect;
        case Step::partGood:
            return State::good;
        case Step::partBad:
            return State::failed;
    }
    return known;
}

void CoverageCounter::applyToAll(Step step) {
    m_whole = next(m_whole, step);
    for (State& state : m_states)
        state = next(state, step);
}

void CoverageCounter::applyToPart(std::uint64_t lba, std::uint32_t count, Step step) {
    if (count == m_count) {
        applyToAll(step);
        return;
    }
    if (m_states.empty())
        m_states.assign(m_count, m_whole);
    const auto first = m_states.begin() + static_cast<std::ptrdiff_t>(lba - m_lba);
    std::transform(first, first + count, first, [step](State known) { return next(known, step); });
}

void CoverageCounter::count(std::uint64_t lba, std::uint64_t sectors, SectorOutcome outcome) {
    if (outcome == SectorOutcome::untested || sectors == 0)
        return;
    (outcome == SectorOutcome::good ? m_tested : m_failed) += sectors;
    if (m_settled)
        m_settled(lba, sectors, outcome);
}

void CoverageCounter::settle() {
    // Without narrowing, a failed transfer speaks of all its sectors; with it, of those that were tried.
    const auto outcomeOf = [this](State state) {
        switch (state) {
            case State::good:
                return SectorOutcome::good;
            case State::failed:
                return SectorOutcome::failed;
            case State::suspect:
                return m_narrowed ? SectorOutcome::untested : SectorOutcome::failed;
            case State::unknown:
                break;
        }
        return SectorOutcome::untested;
    };
    if (m_states.empty()) {
        count(m_lba, m_count, outcomeOf(m_whole));
    } else {
        for (std::size_t start = 0, end = 0; start < m_states.size(); start = end) {
            while (end < m_states.size() && m_states[end] == m_states[start])
                ++end;
            count(m_lba + start, end - start, outcomeOf(m_states[start]));
        }
    }
    open(0, 0);
}

Coverage CoverageCounter::finish() {
    settle();
    const std::uint64_t visited = m_tested + m_failed;
    const std::uint64_t requested = std::max(m_requested, visited);
    return {requested, m_tested, m_failed, requested - visited};
}

}  // namespace drivetest
