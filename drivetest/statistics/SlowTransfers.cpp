#include "drivetest/statistics/SlowTransfers.h"

#include <algorithm>

namespace drivetest {

namespace {

constexpr std::size_t kKept = 5;

}  // namespace

void SlowTransfers::note(const libDrive2::DriveOperationReport& report) {
    m_slow += report.duration > kSlow ? 1 : 0;
    m_verySlow += report.duration > kVerySlow ? 1 : 0;
    m_beyondLimit += report.duration > m_limit ? 1 : 0;
    const bool isFull = m_slowest.size() == kKept;
    if (isFull && report.duration <= m_slowest.back().duration)
        return;
    if (isFull)
        m_slowest.pop_back();
    const auto behind = std::find_if(m_slowest.begin(), m_slowest.end(),
                                     [&](const Transfer& kept) { return kept.duration < report.duration; });
    m_slowest.insert(behind, {report.operation, report.lba, report.count, report.duration});
    if (m_slowest.size() == kKept)
        m_ordinary = std::min({m_slowest.back().duration, m_limit, std::chrono::nanoseconds(kSlow)});
}

}  // namespace drivetest
