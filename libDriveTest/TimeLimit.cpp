#include "TimeLimit.h"

#include <algorithm>
#include <chrono>

#include "Parameters.h"

namespace libDriveTest {

TimeLimit::TimeLimit() : m_time(std::chrono::seconds(parameters::maxTime.value())) {}

int TimeLimit::percent(std::uint64_t done) const {
    const auto spent = isSet() ? static_cast<std::uint64_t>(m_watch.elapsed() * 100 / m_time) : 0;
    return static_cast<int>(std::max(done, std::min<std::uint64_t>(spent, 99)));
}

}  // namespace libDriveTest
