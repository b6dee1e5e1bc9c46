#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

#include "drivetest/statistics/BadSectors.h"
#include "drivetest/statistics/CoverageCounter.h"
#include "drivetest/statistics/LatencyHistogram.h"
#include "drivetest/statistics/LiveCounts.h"
#include "drivetest/statistics/RateProfile.h"
#include "drivetest/statistics/SectorRuns.h"
#include "drivetest/statistics/SlowTransfers.h"
#include "drivetest/statistics/StatisticsState.h"
#include "drivetest/statistics/SurfaceMap.h"
#include "libDrive2/DriveObserver.h"
#include "zel/Clock.h"

namespace drivetest {

/// Of rates.
inline constexpr double kBytesPerMegabyte = 1048576;

/// Watches a drive during a run: what is bad, coverage, surface, latencies and rates, in memory of bounded
/// size.
class DriveStatistics : public libDrive2::DriveObserver {
public:
    DriveStatistics(std::uint64_t sectors, std::uint32_t sectorBytes);

    void onOperation(const libDrive2::DriveOperationReport& report) override;
    void onMedium(std::uint64_t sectors, std::uint32_t sectorBytes) override;
    void onPlan(std::uint64_t sectors) override;
    void onPlanPositions(std::uint64_t positions) override;
    void onVisit(std::uint64_t lba, std::uint32_t count) override;
    void onCondemned(const libDrive2::CondemnedSectors& condemned) override;
    void onSkipped(std::uint64_t lba, std::uint32_t count) override;
    void onSettled(std::uint64_t sectors, std::uint32_t errors) override;

    /// Transfers beyond it are counted, too.
    void setSlowLimit(std::chrono::milliseconds limit) { m_slowTransfers.setLimit(limit); }

    /// See DriveObserver::onSettled().
    using Settled = std::function<void(std::uint64_t sectors, std::uint32_t errors)>;
    /// From now on takeState() tells what has changed; who is told that something has settled should call it
    /// when there are many changes, as they take memory.
    void keepChanges(Settled settled);
    [[nodiscard]] std::size_t changes() const { return m_goodRuns.runs().size() + m_newBad.size(); }
    /// Since the last call, or keepChanges(). Only when something has settled.
    [[nodiscard]] StatisticsState takeState();
    /// Goes on from there; of several states each once, in their order, before anything else. False when it
    /// cannot be one of this drive.
    [[nodiscard]] bool restore(const StatisticsState& state);

    /// Settles what is open; call once, when the run is over and before the getters below.
    void finish();

    [[nodiscard]] const Coverage& coverage() const { return m_result; }
    [[nodiscard]] const BadSectors& badSectors() const { return m_bad; }
    /// What was visited and found good, rising; badSectors() outrank it.
    [[nodiscard]] const std::vector<libDrive2::SectorSpan>& goodSectors() const { return m_good; }
    [[nodiscard]] const SlowTransfers& slowTransfers() const { return m_slowTransfers; }
    [[nodiscard]] std::uint32_t sectorBytes() const { return m_sectorBytes; }
    [[nodiscard]] const SurfaceMap& surface() const { return m_surface; }
    [[nodiscard]] const RateProfile& rates() const { return m_rates; }
    [[nodiscard]] const OperationStatistics& of(libDrive2::DriveOperation operation) const {
        return m_operations[static_cast<std::size_t>(operation)];
    }
    [[nodiscard]] const TransferTotals& totals(libDrive2::DriveOperation direction) const;

    /// All that other threads may read during the run.
    [[nodiscard]] const LiveCounts& live() const { return m_live; }

private:
    void noteBad(std::uint64_t lba, std::uint64_t count, std::size_t cause);
    [[nodiscard]] bool isInside(std::uint64_t lba, std::uint64_t count) const;
    [[nodiscard]] bool restoreGood(const SectorRuns::Run& run);
    [[nodiscard]] bool restoreBad(const StatisticsState& state);
    [[nodiscard]] bool restoreSurface(const SurfaceMap::Part& part);
    void addOutcome(const libDrive2::DriveOperationReport& report);
    void addTransfer(const libDrive2::DriveOperationReport& report, zel::Clock::Duration spent);

    std::uint64_t m_sectors;
    std::uint32_t m_sectorBytes;
    CoverageCounter m_counter;
    BadSectors m_bad;
    SlowTransfers m_slowTransfers;
    SurfaceMap m_surface;
    RateProfile m_rates;
    std::array<OperationStatistics, kOperations.size()> m_operations;
    Coverage m_result;
    std::vector<libDrive2::SectorSpan> m_good;
    TransferTotals m_reads, m_writes;
    zel::Clock::Duration m_lastEnd;  ///< of the last operation
    LiveCounts m_live;
    Settled m_settled;  ///< empty where changes are not kept
    SectorRuns m_goodRuns;
    std::vector<StatisticsState::Bad> m_newBad;
    std::size_t m_toldCauses = 0;
    std::vector<BadSectors::Cause> m_restoredCauses;
    std::uint64_t m_restoredGood = 0;
};

const char* nameOf(libDrive2::DriveOperation operation);

}  // namespace drivetest
