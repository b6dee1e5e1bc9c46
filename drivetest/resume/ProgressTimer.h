#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace drivetest {

/// Says from time to time, in real time, that progress is to be saved: asking costs next to nothing.
class ProgressTimer {
public:
    /// Zero: always.
    explicit ProgressTimer(std::chrono::seconds interval);
    ~ProgressTimer();
    ProgressTimer(const ProgressTimer&) = delete;
    ProgressTimer& operator=(const ProgressTimer&) = delete;

    [[nodiscard]] bool isDue() const { return m_isDue.load(std::memory_order_relaxed); }
    /// It was saved.
    void restart();

private:
    void run();

    std::chrono::seconds m_interval;
    std::atomic<bool> m_isDue;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::chrono::steady_clock::time_point m_next;
    bool m_isEnding = false;
    std::thread m_thread;
};

}  // namespace drivetest
