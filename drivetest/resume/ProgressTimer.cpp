#include "drivetest/resume/ProgressTimer.h"

#include "drivetest/run/Signals.h"

namespace drivetest {

using Clock = std::chrono::steady_clock;

ProgressTimer::ProgressTimer(std::chrono::seconds interval)
    : m_interval(interval), m_isDue(interval.count() == 0), m_next(Clock::now() + interval) {
    if (m_interval.count() != 0)
        m_thread = std::thread([this] {
            leaveSignalsToOthers();
            run();
        });
}

ProgressTimer::~ProgressTimer() {
    if (!m_thread.joinable())
        return;
    {
        const std::lock_guard lock(m_mutex);
        m_isEnding = true;
    }
    m_wake.notify_one();
    m_thread.join();
}

void ProgressTimer::restart() {
    if (!m_thread.joinable())
        return;
    const std::lock_guard lock(m_mutex);
    m_next = Clock::now() + m_interval;
    m_isDue.store(false, std::memory_order_relaxed);
}

void ProgressTimer::run() {
    std::unique_lock lock(m_mutex);
    while (!m_isEnding) {
        if (Clock::now() >= m_next) {
            m_isDue.store(true, std::memory_order_relaxed);
            m_next = Clock::now() + m_interval;
        }
        m_wake.wait_until(lock, m_next);
    }
}

}  // namespace drivetest
