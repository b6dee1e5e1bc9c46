#pragma once

#include <array>
#include <cstddef>

#include "zel/Clock.h"

namespace libDriveTest {

/// Notices that a drive takes far longer than it used to: it tries hard, is hot, or has lost a head.
class LatencyWatch {
public:
    /// Takes what one transfer took, good or not. True when the last ones together took so long that the
    /// drive should rest; not again before as many have been seen anew.
    bool add(zel::Clock::Duration took);

private:
    static constexpr std::size_t kSeen = 16;

    std::array<zel::Clock::Duration, kSeen> m_last{};
    std::size_t m_count = 0;  ///< in m_last
    std::size_t m_at = 0;
    zel::Clock::Duration m_sum{0};
    zel::Clock::Duration m_least{0};  ///< that so many took together; zero before there were as many
};

}  // namespace libDriveTest
