#include "drivetest/run/HurryWatch.h"

#include <chrono>
#include <utility>

#include "drivetest/run/Signals.h"
#include "quix5/StopRequest.h"

namespace drivetest {

namespace {

constexpr std::chrono::milliseconds kInterval{50};

}  // namespace

HurryWatch::HurryWatch(std::function<void()> hurry)
    : m_hurry(std::move(hurry)), m_thread([this] {
          leaveSignalsToOthers();
          watch();
      }) {}

HurryWatch::~HurryWatch() {
    {
        const std::lock_guard lock(m_mutex);
        m_ending = true;
    }
    m_wake.notify_one();
    m_thread.join();
}

void HurryWatch::watch() {
    LateSignals signals;
    bool isHurrying = false;
    std::unique_lock lock(m_mutex);
    while (!m_wake.wait_for(lock, kInterval, [this] { return m_ending; })) {
        signals.look();
        if (quix5::StopRequest::isInsistedOn() && !std::exchange(isHurrying, true))
            m_hurry();
    }
}

}  // namespace drivetest
