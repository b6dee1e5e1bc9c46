#include "drivetest/run/RestClock.h"

namespace drivetest {

RestClock::RestClock() : m_steady(Clock::current().steady()), m_before(Clock::install(this)) {}

RestClock::~RestClock() {
    Clock::install(m_before);
}

zel::Clock::Duration RestClock::now() {
    const std::lock_guard lock(m_mutex);
    return m_stands ? m_stoodSince : m_steady.now() - m_leftOut;
}

void RestClock::stop() {
    const std::lock_guard lock(m_mutex);
    m_stoodSince = m_steady.now() - m_leftOut;
    m_stands = true;
}

void RestClock::goOn() {
    const std::lock_guard lock(m_mutex);
    m_leftOut = m_steady.now() - m_stoodSince;
    m_stands = false;
}

}  // namespace drivetest
