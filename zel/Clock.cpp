#include "zel/Clock.h"

#include <atomic>
#include <thread>

namespace zel {

namespace {

class SystemClock : public Clock {
public:
    Duration now() override { return std::chrono::steady_clock::now().time_since_epoch(); }
    void sleep(Duration duration) override { std::this_thread::sleep_for(duration); }
};

SystemClock systemClock;
std::atomic<Clock*> installed{nullptr};

}  // namespace

Clock& Clock::current() {
    Clock* const clock = installed.load(std::memory_order_relaxed);
    return clock != nullptr ? *clock : systemClock;
}

Clock* Clock::install(Clock* clock) {
    return installed.exchange(clock);
}

Clock::Duration SkippingClock::now() {
    return systemClock.now() + Duration(m_skipped.load(std::memory_order_relaxed));
}

void SkippingClock::sleep(Duration duration) {
    m_skipped.fetch_add(duration.count(), std::memory_order_relaxed);
}

std::uint32_t Stopwatch::elapsedMilliseconds() const {
    const auto elapsedMs = std::chrono::duration_cast<std::chrono::milliseconds>(elapsed());
    return static_cast<std::uint32_t>(elapsedMs.count());
}

void System::mssleep(std::uint32_t milliseconds) {
    Clock::current().sleep(std::chrono::milliseconds(milliseconds));
}

}  // namespace zel
