#include "libDrive2/sim/SimHealth.h"

#include "zel/Clock.h"

namespace libDrive2 {

namespace {

/// More would cost memory for nothing: drives count no further either.
constexpr std::size_t kMostPending = 65535;
constexpr std::size_t kLoggedTests = 20;

}  // namespace

void SimHealth::meetUnreadable(std::uint64_t lba) {
    ++m_failedReads;
    if (m_pending.size() < kMostPending)
        m_pending.insert(lba);
}

void SimHealth::rewrite(std::uint64_t lba, std::uint64_t count) {
    const auto first = m_pending.lower_bound(lba);
    const auto end = m_pending.lower_bound(lba + count);
    for (auto at = first; at != end; ++at)
        ++m_reallocated;
    m_pending.erase(first, end);
}

void SimHealth::end(SelfTestOutcome outcome) {
    SelfTestEntry entry{m_running.kind, outcome, m_options.hours};
    if (outcome == SelfTestOutcome::failed)
        entry.firstBad = m_running.firstBad;
    m_tests.insert(m_tests.begin(), entry);
    if (m_tests.size() > kLoggedTests)
        m_tests.pop_back();
    m_running.isRunning = false;
}

void SimHealth::settle() {
    if (m_running.isRunning && zel::Clock::current().now() - m_running.since >= m_running.duration)
        end(m_running.firstBad ? SelfTestOutcome::failed : SelfTestOutcome::passed);
}

bool SimHealth::startSelfTest(SelfTestKind kind, std::optional<std::uint64_t> firstBad) {
    settle();
    if (m_running.isRunning)
        return false;
    const std::uint32_t minutes = kind == SelfTestKind::shortTest ? kShortMinutes : kExtendedMinutes;
    m_running = {true, kind, firstBad, zel::Clock::current().now(), std::chrono::minutes(minutes)};
    return true;
}

bool SimHealth::abortSelfTest() {
    settle();
    if (!m_running.isRunning)
        return false;
    end(SelfTestOutcome::aborted);
    return true;
}

std::optional<unsigned> SimHealth::selfTestPercent() {
    settle();
    if (!m_running.isRunning)
        return std::nullopt;
    return static_cast<unsigned>((zel::Clock::current().now() - m_running.since) * 100 / m_running.duration);
}

const std::vector<SelfTestEntry>& SimHealth::selfTests() {
    settle();
    return m_tests;
}

}  // namespace libDrive2
