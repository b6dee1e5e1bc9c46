#include "drivetest/safety/UseWatch.h"

#include <utility>

#include "zel/Words.h"

namespace drivetest {

namespace {

constexpr std::chrono::seconds kPause{1};

}  // namespace

UseWatch::UseWatch(Lister lister, Clock clock) : m_lister(std::move(lister)), m_clock(std::move(clock)) {
    for (std::string& user : m_lister())
        m_known.insert(std::move(user));
    m_lastLook = m_clock();
}

bool UseWatch::isDisturbed() {
    if (!m_reason.empty() || m_clock() - m_lastLook < kPause)
        return !m_reason.empty();
    for (const std::string& user : m_lister())
        if (!m_known.contains(user))
            m_reason += (m_reason.empty() ? "" : ", ") + user;
    if (!m_reason.empty())
        m_reason =
            zel::words("somebody began to use the drive while the test ran: {users}", {{"users", m_reason}});
    // From its end on, so that a slow look never fills all the time.
    m_lastLook = m_clock();
    return !m_reason.empty();
}

}  // namespace drivetest
