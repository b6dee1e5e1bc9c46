#pragma once

#include <cstdint>

#include "zel/Clock.h"

namespace libDriveTest {

/// The time that the parameter MaxTime grants, from its making on.
class TimeLimit {
public:
    TimeLimit();

    [[nodiscard]] bool isSet() const { return m_time.count() != 0; }
    [[nodiscard]] bool isUp() const { return isSet() && m_watch.elapsed() >= m_time; }
    /// Zero where none is set.
    [[nodiscard]] zel::Clock::Duration granted() const { return m_time; }
    /// How far a run is of which so many percent are done: whatever ends it first counts.
    [[nodiscard]] int percent(std::uint64_t done) const;

private:
    zel::Clock::Duration m_time;
    zel::Stopwatch m_watch;
};

}  // namespace libDriveTest
