#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>

#include "zel/Clock.h"

namespace libDrive2 {

/// The part of a strict drive that records: it calibrates its laser before the first write of a recording,
/// and takes data into a buffer that drains at the speed of writing. Time is zel::Clock's.
class OpticalWriter {
public:
    using Duration = zel::Clock::Duration;
    static constexpr std::uint32_t kBufferSectors = 1024;  ///< 2 MiB
    static constexpr std::chrono::seconds kCalibration{60};

    [[nodiscard]] bool isCalibrated() const { return m_calibrated; }
    void calibrate() {
        zel::Clock::current().sleep(kCalibration);
        m_calibrated = true;
    }
    /// What is written next needs a calibration.
    void endRecording() { m_calibrated = false; }

    /// Until the buffer is empty.
    [[nodiscard]] Duration remaining() const {
        return std::max(m_drained - zel::Clock::current().now(), Duration::zero());
    }
    /// Until there is room, given what writing the data and what writing a whole buffer takes.
    [[nodiscard]] Duration untilRoom(Duration data, Duration whole) const {
        return std::max(remaining() + data - whole, Duration::zero());
    }
    void take(Duration data) { m_drained = zel::Clock::current().now() + remaining() + data; }
    void waitUntilEmpty() const { zel::Clock::current().sleep(remaining()); }

private:
    bool m_calibrated = false;
    Duration m_drained{0};
};

}  // namespace libDrive2
