#pragma once

#include <algorithm>
#include <cstdint>

#include "zel/Clock.h"

namespace libDrive2 {

/// The formatting of a DVD+RW, which goes on in the background of other commands. Time is zel::Clock's.
class BackgroundFormat {
public:
    using Duration = zel::Clock::Duration;
    /// MMC-6, READ DISC INFORMATION, background format status.
    enum class Status : std::uint8_t { none = 0, interrupted = 1, running = 2, complete = 3 };

    explicit BackgroundFormat(Status status) : m_status(status) {}

    [[nodiscard]] Status status() const {
        return m_status == Status::running && remaining() == Duration::zero() ? Status::complete : m_status;
    }
    void start(Duration duration) {
        m_status = Status::running;
        m_end = zel::Clock::current().now() + duration;
    }
    /// Nothing when it is not running.
    void stop() {
        if (status() != Status::running)
            return;
        m_left = remaining();
        m_status = Status::interrupted;
    }
    /// Goes on where it was stopped.
    void resume() { start(m_left); }

private:
    [[nodiscard]] Duration remaining() const {
        return std::max(m_end - zel::Clock::current().now(), Duration::zero());
    }

    Status m_status;
    Duration m_end{0};
    Duration m_left{0};
};

}  // namespace libDrive2
