#include "drivetest/statistics/DriveStatistics.h"

namespace drivetest {

using libDrive2::DriveOperation;

namespace {

constexpr double kMegabyte = 1048576;

}  // namespace

std::optional<double> TransferTotals::megabytesPerSecond() const {
    const double seconds = std::chrono::duration<double>(elapsed).count();
    if (bytes == 0 || seconds <= 0)
        return std::nullopt;
    return static_cast<double>(bytes) / kMegabyte / seconds;
}

DriveStatistics::DriveStatistics(std::uint64_t sectors, std::uint32_t sectorBytes)
    : m_sectorBytes(sectorBytes),
      m_counter([this](auto lba, auto count, auto outcome) { m_surface.addOutcome(lba, count, outcome); }),
      m_surface(sectors),
      m_readLatency(m_latencies[DriveOperation::read]) {}

void DriveStatistics::onPlan(std::uint64_t sectors) {
    m_counter.plan(sectors);
}

void DriveStatistics::onOperation(const libDrive2::DriveOperationReport& report) {
    if (report.count == 0)
        return;
    m_counter.add(report.lba, report.count, report.outcome);
    if (report.duration.count() > 0) {
        (report.operation == DriveOperation::read ? m_readLatency : m_latencies[report.operation])
            .add(report.duration);
        m_surface.addTransfer(report.lba, report.count, report.duration);
    }
    if (report.operation == DriveOperation::read || report.operation == DriveOperation::write)
        addTransfer(report);
}

void DriveStatistics::addTransfer(const libDrive2::DriveOperationReport& report) {
    Span& span = report.operation == DriveOperation::read ? m_reads : m_writes;
    // Reading the clock can cost as much as a transfer.
    const zel::Clock::Duration now =
        report.finished.count() != 0 ? report.finished : zel::Clock::current().now();
    if (!span.started) {
        span.started = true;
        span.first = now - report.duration;
    }
    span.last = now;
    if (report.outcome != libDrive2::LIBDRIVE2_NO_ERROR)
        return;
    const std::uint64_t bytes = std::uint64_t{report.count} * m_sectorBytes;
    span.bytes += bytes;
    m_bytesMoved.store(m_bytesMoved.load(std::memory_order_relaxed) + bytes, std::memory_order_relaxed);
}

void DriveStatistics::finish() {
    m_result = m_counter.finish();
}

TransferTotals DriveStatistics::totals(DriveOperation direction) const {
    const Span& span = direction == DriveOperation::read ? m_reads : m_writes;
    return {span.bytes, span.last - span.first};
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
