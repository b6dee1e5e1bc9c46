#include "drivetest/statistics/StatisticsState.h"

#include <utility>

#include "drivetest/statistics/DriveStatistics.h"

namespace drivetest {

void DriveStatistics::keepChanges(Settled settled) {
    m_settled = std::move(settled);
    m_toldCauses = m_bad.causes().size();
    // What was restored was told before.
    (void)m_surface.takeChanged();
    (void)m_rates.takeChanged();
}

/// Tests find them one by one.
void DriveStatistics::noteBad(std::uint64_t lba, std::uint64_t count, std::size_t cause) {
    if (!m_newBad.empty() && m_newBad.back().cause == cause &&
        m_newBad.back().first + m_newBad.back().count == lba)
        m_newBad.back().count += count;
    else
        m_newBad.push_back({lba, count, cause});
}

StatisticsState DriveStatistics::takeState() {
    m_counter.close();
    const auto& causes = m_bad.causes();
    StatisticsState state;
    state.good = m_goodRuns.take();
    state.newCauses.assign(causes.begin() + static_cast<std::ptrdiff_t>(m_toldCauses), causes.end());
    m_toldCauses = causes.size();
    state.bad = std::exchange(m_newBad, {});
    state.surface = m_surface.takeChanged();
    state.regions = m_rates.takeChanged();
    state.visited = m_counter.visited();
    state.reads = m_reads;
    state.writes = m_writes;
    state.operations = m_operations;
    state.slow = m_slowTransfers.state();
    return state;
}

bool DriveStatistics::restore(const StatisticsState& state) {
    m_counter.restoreVisited(state.visited);
    bool fits = true;
    for (const SectorRuns::Run& run : state.good)
        fits = fits && restoreGood(run);
    fits = fits && restoreBad(state);
    for (const SlowTransfers::Transfer& transfer : state.slow.kept)
        fits = fits && isInside(transfer.lba, transfer.count);
    for (const SurfaceMap::Part& part : state.surface)
        fits = fits && restoreSurface(part);
    for (const RateProfile::Changed& region : state.regions)
        fits = fits && m_rates.restore(region);
    m_reads = state.reads;
    m_writes = state.writes;
    m_operations = state.operations;
    m_slowTransfers.restore(state.slow);
    m_live.restore(m_reads.bytes, m_writes.bytes);
    m_live.visit(state.visited);
    return fits;
}

bool DriveStatistics::isInside(std::uint64_t lba, std::uint64_t count) const {
    return count > 0 && lba < m_sectors && count <= m_sectors - lba;
}

bool DriveStatistics::restoreGood(const SectorRuns::Run& run) {
    // Nobody makes it take longer than the run did.
    constexpr std::uint64_t kMostPieces = std::uint64_t{1} << 30;
    if (run.times == 0 || run.times > kMostPieces || !isInside(run.first, run.count) ||
        (run.times > 1 &&
         (run.step < run.count || run.step > (m_sectors - run.first - run.count) / (run.times - 1))))
        return false;
    // No more is good than was visited.
    const std::uint64_t visited = m_counter.visited();
    if (m_restoredGood > visited || run.count * run.times > visited - m_restoredGood)
        return false;
    m_restoredGood += run.count * run.times;
    for (std::uint64_t i = 0; i < run.times; ++i)
        m_counter.restoreGood(run.first + i * run.step, run.count);
    return true;
}

bool DriveStatistics::restoreBad(const StatisticsState& state) {
    // By themselves, as statistics with very many causes have no room for more.
    m_restoredCauses.insert(m_restoredCauses.end(), state.newCauses.begin(), state.newCauses.end());
    for (const StatisticsState::Bad& bad : state.bad) {
        if (bad.cause >= m_restoredCauses.size() || !isInside(bad.first, bad.count))
            return false;
        const BadSectors::Cause& cause = m_restoredCauses[bad.cause];
        const zel::String words(cause.words);
        m_bad.add({{bad.first, bad.count}, cause.fault, words});
        m_live.condemn(bad.first, bad.count);
    }
    return true;
}

bool DriveStatistics::restoreSurface(const SurfaceMap::Part& part) {
    if (!m_surface.restore(part))
        return false;
    const std::uint64_t sectors = m_surface.sectorsPerCell();
    for (std::size_t i = 0; i < part.outcomes.size(); ++i)
        if (part.outcomes[i] == SectorOutcome::good || part.outcomes[i] == SectorOutcome::recovered)
            m_live.restore((part.first + i) * sectors, sectors, LiveOutcome::good);
    return true;
}

}  // namespace drivetest
