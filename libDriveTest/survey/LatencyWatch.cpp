#include "LatencyWatch.h"

#include <algorithm>
#include <chrono>

namespace libDriveTest {

namespace {

/// So many times what it took at best, and longer than a region that is bad here and there makes it.
constexpr int kTimes = 10;
constexpr std::chrono::milliseconds kAtLeast{500};

}  // namespace

bool LatencyWatch::add(zel::Clock::Duration took) {
    m_sum += took - (m_count == kSeen ? m_last[m_at] : zel::Clock::Duration(0));
    m_last[m_at] = took;
    m_at = (m_at + 1) % kSeen;
    m_count = std::min(m_count + 1, kSeen);
    if (m_count < kSeen)
        return false;
    m_least = m_least.count() == 0 ? m_sum : std::min(m_least, m_sum);
    if (m_sum < kSeen * kAtLeast || m_sum < kTimes * m_least)
        return false;
    m_count = 0;
    m_sum = {};
    return true;
}

}  // namespace libDriveTest
