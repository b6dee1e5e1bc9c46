#include "drivetest/terminal/ProgressDisplay.h"

#include <utility>

#include "drivetest/run/Signals.h"
#include "zel/Clock.h"

namespace drivetest {

namespace {

using namespace std::chrono_literals;

/// Also how soon a stop is seen, and a request for a line.
constexpr auto kInterval = 200ms;
/// Figures that change more often cannot be read, nor sent over slow lines.
constexpr unsigned kLooksPerDrawing = 2;
constexpr std::chrono::nanoseconds kOften = 1min;
constexpr std::chrono::nanoseconds kOftenUntil = 10min;
constexpr std::chrono::nanoseconds kSeldom = 10min;

}  // namespace

ProgressDisplay::ProgressDisplay(Console& console, std::string title, Forecast forecast,
                                 std::function<ProgressSnapshot()> snapshot)
    : m_console(console),
      m_title(std::move(title)),
      m_snapshot(std::move(snapshot)),
      m_forecast(std::move(forecast)),
      m_lastLook(zel::Clock::current().now()),
      m_nextLine(kOften),
      m_thread([this] {
          leaveSignalsToOthers();
          show();
      }) {}

ProgressDisplay::~ProgressDisplay() {
    {
        const std::lock_guard lock(m_mutex);
        m_ending = true;
    }
    m_wake.notify_one();
    m_thread.join();
    m_console.clearStatus();
}

void ProgressDisplay::show() {
    std::unique_lock lock(m_mutex);
    while (!m_wake.wait_for(lock, kInterval, [this] { return m_ending; })) {
        const std::chrono::nanoseconds now = zel::Clock::current().now();
        if (!m_console.isAsking()) {
            m_elapsed += now - m_lastLook;
            look();
        }
        m_lastLook = now;
    }
}

bool ProgressDisplay::isStopNew(const ProgressSnapshot& now) {
    const std::string stopping = now.stopping.empty() ? "" : now.activity;
    return std::exchange(m_stopping, stopping) != stopping;
}

void ProgressDisplay::look() {
    const ProgressSnapshot now = m_snapshot();
    const std::chrono::nanoseconds elapsed = m_elapsed + now.spentBefore;
    m_meter.add(elapsed, now.advance);
    for (const std::string& line : m_forecast.due(m_meter, now.advance, elapsed))
        m_console.line(line);
    const Progress progress{m_title, now, m_meter, elapsed};
    const bool isAskedFor = takeProgressRequest();
    const bool isStopNews = isStopNew(now);
    if (m_console.isLive() && (m_looks++ % kLooksPerDrawing == 0 || isStopNews))
        m_console.status([&progress](std::size_t width) { return progressRows(progress, width); });
    if (!isAskedFor && (m_console.isLive() || (m_elapsed < m_nextLine && !isStopNews)))
        return;
    m_console.line(progressLine(progress));
    m_nextLine = m_elapsed + (m_elapsed < kOftenUntil ? kOften : kSeldom);
}

}  // namespace drivetest
