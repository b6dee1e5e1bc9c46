#pragma once

#include <mutex>

#include "zel/Clock.h"

namespace drivetest {

/// The time that a test sees: it stands still while the program lets the test wait, so that the wait is no
/// part of a rate or of a time limit. For all threads.
class RestClock : public zel::Clock {
public:
    /// Takes the place of the clock in force, for as long as it lives.
    RestClock();
    ~RestClock() override;
    RestClock(const RestClock&) = delete;
    RestClock& operator=(const RestClock&) = delete;

    Duration now() override;
    /// Sleeps also while the time stands still.
    void sleep(Duration duration) override { m_steady.sleep(duration); }
    Clock& steady() override { return m_steady; }

    /// The time stands still for as long as this lives.
    class Stop {
    public:
        explicit Stop(RestClock& clock) : m_clock(clock) { m_clock.stop(); }
        ~Stop() { m_clock.goOn(); }
        Stop(const Stop&) = delete;
        Stop& operator=(const Stop&) = delete;

    private:
        RestClock& m_clock;
    };

private:
    void stop();
    void goOn();

    Clock& m_steady;
    Clock* m_before;  ///< to be installed again; null for the system's
    std::mutex m_mutex;
    bool m_stands = false;
    Duration m_stoodSince{};  ///< in the time of this clock
    Duration m_leftOut{0};
};

}  // namespace drivetest
