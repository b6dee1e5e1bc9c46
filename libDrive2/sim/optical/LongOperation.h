#pragma once

#include <algorithm>
#include <cstdint>

#include "libDrive2/sim/SimScsiCommand.h"
#include "zel/Clock.h"

namespace libDrive2 {

inline constexpr SimSense kFormatInProgress{0x2, 0x04, 0x04};
inline constexpr SimSense kOperationInProgress{0x2, 0x04, 0x07};
inline constexpr SimSense kLongWriteInProgress{0x2, 0x04, 0x08};

/// What a drive is busy with after a command that returned at once: formatting, blanking, closing, or writing
/// its cache. Time is zel::Clock's.
class LongOperation {
public:
    using Duration = zel::Clock::Duration;

    /// An immediate command leaves it running; any other sleeps until it is done.
    void start(SimSense sense, Duration duration, bool immediate) {
        if (!immediate)
            return zel::Clock::current().sleep(duration);
        m_sense = sense;
        m_end = zel::Clock::current().now() + duration;
        m_duration = duration;
    }
    [[nodiscard]] bool isRunning() const { return remaining().count() > 0; }
    [[nodiscard]] SimSense sense() const { return m_sense; }
    /// 0 when nothing is running.
    [[nodiscard]] Duration remaining() const {
        return m_duration.count() == 0 ? Duration::zero()
                                       : std::max(m_end - zel::Clock::current().now(), Duration::zero());
    }
    /// SPC-4, progress indication: the part that is done, of 65536. Only while it is running.
    [[nodiscard]] std::uint16_t progress() const {
        return static_cast<std::uint16_t>(static_cast<double>((m_duration - remaining()).count()) * 65535 /
                                          static_cast<double>(m_duration.count()));
    }

private:
    SimSense m_sense{};
    Duration m_end{0};
    Duration m_duration{0};
};

}  // namespace libDrive2
