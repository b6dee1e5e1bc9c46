#pragma once

#include <cstdint>

#include "zel/Clock.h"

namespace libDrive2 {

/// How a simulated drive warms and cools: towards an end, by the same part of what is missing in equal times.
struct SimHeating {
    std::uint64_t riseC = 0;    ///< degrees that lasting work makes of it; 0: it stays as it is
    std::uint64_t seconds = 1;  ///< until 63 % of a change are over
};

/// How much warmer than at rest the drive is, on zel::Clock's steady() time.
class SimWarmth {
public:
    SimWarmth() = default;
    explicit SimWarmth(SimHeating heating) : m_heating(heating) {}

    /// The drive works from now on, or rests.
    void setWorking(bool works);
    /// Whole degrees.
    [[nodiscard]] std::uint64_t riseC() const;

private:
    [[nodiscard]] double rise() const;

    SimHeating m_heating{};
    bool m_works = false;
    double m_rise = 0;  ///< at m_at
    zel::Clock::Duration m_at{zel::Clock::current().steady().now()};
};

}  // namespace libDrive2
