#include "drivetest/terminal/ProgressDisplay.h"

#include "drivetest/statistics/DriveStatistics.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Format.h"

namespace drivetest {

namespace {

constexpr std::chrono::milliseconds kLiveInterval{200};
constexpr std::chrono::seconds kPlainInterval{10};

}  // namespace

std::string progressText(const std::string& title, const ProgressSnapshot& now,
                         std::chrono::nanoseconds elapsed) {
    const double seconds = std::chrono::duration<double>(elapsed).count();
    std::string text = title + "  " + std::to_string(now.percent) + " %";
    if (seconds > 0)
        text +=
            zel::format("  %.1f MB/s", static_cast<double>(now.bytes) / kBytesPerMegabyte / seconds).utf8();
    text += "  " + durationText(elapsed);
    if (now.percent > 0 && now.percent < 100)
        text += ", " + durationText(elapsed / now.percent * (100 - now.percent)) + " left";
    text += "  " + countText(now.errors, "error") + "  " + countText(now.warnings, "warning");
    return now.activity.empty() ? text : text + "  " + now.activity;
}

ProgressDisplay::ProgressDisplay(Console& console, std::string title,
                                 std::function<ProgressSnapshot()> snapshot)
    : m_console(console),
      m_title(std::move(title)),
      m_snapshot(std::move(snapshot)),
      m_thread([this] { show(); }) {}

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
    const std::chrono::milliseconds interval = m_console.isLive() ? kLiveInterval : kPlainInterval;
    std::unique_lock lock(m_mutex);
    while (!m_wake.wait_for(lock, interval, [this] { return m_ending; })) {
        if (m_console.isAsking())
            continue;
        const std::string text = progressText(m_title, m_snapshot(), m_watch.elapsed());
        if (m_console.isLive())
            m_console.status(text);
        else
            m_console.line(text);
    }
}

}  // namespace drivetest
