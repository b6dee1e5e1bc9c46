#include "drivetest/statistics/DriveStatistics.h"

namespace drivetest {

using libDrive2::DriveOperation;

std::optional<double> TransferTotals::megabytesPerSecond() const {
    const double seconds = std::chrono::duration<double>(elapsed).count();
    if (bytes == 0 || seconds <= 0)
        return std::nullopt;
    return static_cast<double>(bytes) / kBytesPerMegabyte / seconds;
}

DriveStatistics::DriveStatistics(std::uint64_t sectors, std::uint32_t sectorBytes)
    : m_sectors(sectors),
      m_sectorBytes(sectorBytes),
      m_counter([this](std::uint64_t lba, std::uint64_t count, bool atFirstTry) {
          m_surface.addOutcome(lba, count, atFirstTry ? SectorOutcome::good : SectorOutcome::recovered);
          if (m_settled)
              m_goodRuns.add(lba, count);
      }),
      m_surface(sectors),
      m_rates(sectors),
      m_lastEnd(zel::Clock::current().now()),
      m_live(sectors) {}

/// Nothing was transferred from the one before: tests see to their medium first.
void DriveStatistics::onMedium(std::uint64_t sectors, std::uint32_t sectorBytes) {
    if (sectors == m_sectors && sectorBytes == m_sectorBytes)
        return;
    m_sectors = sectors;
    m_sectorBytes = sectorBytes;
    m_surface = SurfaceMap(sectors);
    m_live.begin(sectors);
    m_rates = RateProfile(sectors);
}

void DriveStatistics::onPlan(std::uint64_t sectors) {
    m_counter.plan(sectors, Coverage::Unit::sectors);
    m_live.plan(sectors, m_sectorBytes);
}

void DriveStatistics::onPlanPositions(std::uint64_t positions) {
    m_counter.plan(positions, Coverage::Unit::positions);
    m_live.plan(positions, 0);
}

void DriveStatistics::onCondemned(const libDrive2::CondemnedSectors& condemned) {
    const auto& [lba, count] = condemned.sectors;
    m_counter.condemn(lba, count);
    m_live.condemn(lba, count);
    const std::size_t cause = m_bad.add(condemned);
    if (m_settled)
        noteBad(lba, count, cause);
    m_surface.addOutcome(lba, count, SectorOutcome::failed);
}

void DriveStatistics::onSkipped(std::uint64_t lba, std::uint32_t count) {
    m_counter.skip(lba, count);
}

void DriveStatistics::onVisit(std::uint64_t lba, std::uint32_t count) {
    m_counter.visit(lba, count);
    m_live.visit(m_counter.visited());
}

void DriveStatistics::onOperation(const libDrive2::DriveOperationReport& report) {
    // Reading the clock can cost as much as a transfer.
    const bool timed = report.finished.count() != 0;
    const zel::Clock::Duration end = timed ? report.finished : zel::Clock::current().now();
    const zel::Clock::Duration spent = timed ? report.duration : end - m_lastEnd;
    m_lastEnd = end;
    if (report.count == 0)
        return;
    addOutcome(report);
    if (report.duration.count() > 0 && !report.getsReady) {
        m_operations[static_cast<std::size_t>(report.operation)].latency.add(report.duration);
        m_surface.addTransfer(report.lba, report.count, report.duration);
        m_slowTransfers.add(report);
    }
    if (report.operation == DriveOperation::read || report.operation == DriveOperation::write)
        addTransfer(report, spent);
}

void DriveStatistics::addOutcome(const libDrive2::DriveOperationReport& report) {
    m_counter.add(report.lba, report.count, report.outcome);
    m_live.visit(m_counter.visited());
    if (report.outcome == libDrive2::LIBDRIVE2_NO_ERROR)
        m_live.operation(report.lba, report.count);
    OperationStatistics& operation = m_operations[static_cast<std::size_t>(report.operation)];
    if (report.outcome != libDrive2::LIBDRIVE2_NO_ERROR) {
        ++operation.failed;
    } else if (report.attempts > 1 || report.correctedByDrive) {
        ++operation.recovered;
        m_surface.addOutcome(report.lba, report.count, SectorOutcome::recovered);
    } else {
        ++operation.firstTry;
    }
}

/// A transfer that failed moved nobody knows how much: it tells nothing of the rate there.
void DriveStatistics::addTransfer(const libDrive2::DriveOperationReport& report, zel::Clock::Duration spent) {
    const bool isRead = report.operation == DriveOperation::read;
    TransferTotals& totals = isRead ? m_reads : m_writes;
    totals.elapsed += spent;
    if (report.outcome != libDrive2::LIBDRIVE2_NO_ERROR)
        return;
    const std::uint64_t bytes = std::uint64_t{report.count} * m_sectorBytes;
    totals.bytes += bytes;
    m_live.transfer(bytes, !isRead);
    if (!report.getsReady)
        m_rates.add(isRead ? &RateProfile::Region::read : &RateProfile::Region::written, report.lba,
                    report.count, spent);
}

void DriveStatistics::onSettled(std::uint64_t sectors, std::uint32_t errors) {
    if (m_settled)
        m_settled(sectors, errors);
}

void DriveStatistics::finish() {
    m_result = m_counter.finish(m_bad);
    m_good = m_counter.good();
}

const TransferTotals& DriveStatistics::totals(DriveOperation direction) const {
    return direction == DriveOperation::read ? m_reads : m_writes;
}

const char* nameOf(DriveOperation operation) {
    switch (operation) {
        case DriveOperation::read:
            return "read";
        case DriveOperation::write:
            return "write";
        case DriveOperation::seek:
            return "seek";
        case DriveOperation::flush:
            return "flush";
        case DriveOperation::other:
            return "other";
    }
    return "";
}

}  // namespace drivetest
