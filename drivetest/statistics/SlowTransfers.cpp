#include "drivetest/statistics/SlowTransfers.h"

#include <tuple>

namespace drivetest {

namespace {

bool isSlower(const SlowTransfers::Transfer& a, const SlowTransfers::Transfer& b) {
    return a.duration > b.duration;
}

}  // namespace

void SlowTransfers::note(const libDrive2::DriveOperationReport& report) {
    m_slow += report.duration > kSlow ? 1 : 0;
    m_verySlow += report.duration > kVerySlow ? 1 : 0;
    m_beyondLimit += report.duration > m_limit ? 1 : 0;
    keep({report.operation, report.lba, report.count, report.duration});
    raiseOrdinary();
}

void SlowTransfers::raiseOrdinary() {
    if (m_kept.size() >= kFew)
        m_ordinary = std::min({m_kept.front().duration, m_limit, std::chrono::nanoseconds(kSlow)});
}

void SlowTransfers::restore(const State& state) {
    m_kept = state.kept;
    if (!std::is_heap(m_kept.begin(), m_kept.end(), isSlower))
        std::make_heap(m_kept.begin(), m_kept.end(), isSlower);
    m_slow = state.slow;
    m_verySlow = state.verySlow;
    m_beyondLimit = state.beyondLimit;
    raiseOrdinary();
}

/// There is room for more than a few only when all of them are slow.
void SlowTransfers::keep(const Transfer& transfer) {
    const bool hasRoom = m_kept.size() < kFew || (m_kept.size() < kMost && m_kept.front().duration > kSlow &&
                                                  transfer.duration > kSlow);
    if (!hasRoom) {
        if (transfer.duration <= m_kept.front().duration)
            return;
        std::pop_heap(m_kept.begin(), m_kept.end(), isSlower);
        m_kept.pop_back();
    }
    m_kept.push_back(transfer);
    std::push_heap(m_kept.begin(), m_kept.end(), isSlower);
}

std::vector<SlowTransfers::Transfer> SlowTransfers::slowest(std::size_t most) const {
    std::vector<Transfer> sorted = m_kept;
    std::sort(sorted.begin(), sorted.end(), [](const Transfer& a, const Transfer& b) {
        return std::tie(b.duration, a.lba) < std::tie(a.duration, b.lba);
    });
    sorted.resize(std::min(most, sorted.size()));
    return sorted;
}

}  // namespace drivetest
