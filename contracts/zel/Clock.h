#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

#include "zel/Export.h"

namespace zel {

/// The process's monotonic time, replaceable so that simulated devices need no real time.
class DRIVETEST_API Clock {
public:
    using Duration = std::chrono::nanoseconds;

    virtual ~Clock() = default;
    /// Time since an arbitrary start; never goes back.
    virtual Duration now() = 0;
    /// Blocks the caller for that long (a simulated clock moves on instead).
    virtual void sleep(Duration duration) = 0;
    /// The clock that goes on where this one stands still: itself, but for one that leaves out what is no
    /// part of the work.
    virtual Clock& steady() { return *this; }

    /// The clock in force; the system's monotonic one unless another was installed.
    static Clock& current();
    /// Installs a clock (not owned; null for the system's) and returns the one before.
    static Clock* install(Clock* clock);
};

/// A clock that stands still except for sleep() and advance(): exact times in tests.
class DRIVETEST_API SimulatedClock : public Clock {
public:
    Duration now() override { return m_now; }
    void sleep(Duration duration) override { m_now += duration; }
    void advance(Duration duration) { m_now += duration; }

private:
    Duration m_now{0};
};

/// The system's clock on which sleeping takes no time: now() jumps ahead instead.
class DRIVETEST_API SkippingClock : public Clock {
public:
    Duration now() override;
    void sleep(Duration duration) override;

private:
    std::atomic<Duration::rep> m_skipped{0};
};

/// Measures time on Clock::current().
class DRIVETEST_API Stopwatch {
public:
    Stopwatch() { start(); }
    void start() { m_start = Clock::current().now(); }
    void reset() { start(); }
    [[nodiscard]] Clock::Duration elapsed() const { return Clock::current().now() - m_start; }
    /// Whole milliseconds since the start, modulo 2^32.
    [[nodiscard]] std::uint32_t elapsedMilliseconds() const;

private:
    Clock::Duration m_start{0};
};

class DRIVETEST_API System {
public:
    /// Sleeps on Clock::current().
    static void mssleep(std::uint32_t milliseconds);
};

}  // namespace zel
