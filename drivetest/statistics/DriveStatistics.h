#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "drivetest/statistics/BadSectors.h"
#include "drivetest/statistics/CoverageCounter.h"
#include "drivetest/statistics/LatencyHistogram.h"
#include "drivetest/statistics/LiveCounts.h"
#include "drivetest/statistics/RateProfile.h"
#include "drivetest/statistics/SlowTransfers.h"
#include "drivetest/statistics/SurfaceMap.h"
#include "libDrive2/DriveObserver.h"
#include "zel/Clock.h"

namespace drivetest {

/// Of rates.
inline constexpr double kBytesPerMegabyte = 1048576;

inline constexpr std::array kOperations{libDrive2::DriveOperation::read, libDrive2::DriveOperation::write,
                                        libDrive2::DriveOperation::seek, libDrive2::DriveOperation::flush,
                                        libDrive2::DriveOperation::other};

/// What one direction of transfers moved.
struct TransferTotals {
    std::uint64_t bytes = 0;
    zel::Clock::Duration elapsed{0};  ///< in these transfers, not between them

    /// MB/s with 1 MB = 1,048,576 bytes; nothing when no time passed.
    [[nodiscard]] std::optional<double> megabytesPerSecond() const;
};

/// What became of one kind of operations, and how long they took.
struct OperationStatistics {
    std::uint64_t firstTry = 0;
    std::uint64_t recovered = 0;  ///< succeeded with further tries, or by a correction that the drive tells
    std::uint64_t failed = 0;
    LatencyHistogram latency;  ///< of those that were timed
};

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

    /// Transfers beyond it are counted, too.
    void setSlowLimit(std::chrono::milliseconds limit) { m_slowTransfers.setLimit(limit); }

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
    void addOutcome(const libDrive2::DriveOperationReport& report);
    void addTransfer(const libDrive2::DriveOperationReport& report, zel::Clock::Duration spent);

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
};

const char* nameOf(libDrive2::DriveOperation operation);

}  // namespace drivetest
