#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

#include "drivetest/terminal/Console.h"
#include "drivetest/terminal/Forecast.h"
#include "drivetest/terminal/ProgressMeter.h"
#include "drivetest/terminal/ProgressText.h"

namespace drivetest {

/// Says what a run will take, and shows it from a thread of its own: in place and several times a second on a
/// terminal; without one a plain line each minute, after ten minutes each ten, and whenever somebody asks for
/// one (takeProgressRequest()), or the stop. It rests while the console asks something. Runs from
/// construction to destruction.
class ProgressDisplay {
public:
    /// `snapshot` is called on the display's thread.
    ProgressDisplay(Console& console, std::string title, Forecast forecast,
                    std::function<ProgressSnapshot()> snapshot);
    ~ProgressDisplay();
    ProgressDisplay(const ProgressDisplay&) = delete;
    ProgressDisplay& operator=(const ProgressDisplay&) = delete;

private:
    void show();
    void look();
    bool isStopNew(const ProgressSnapshot& now);

    Console& m_console;
    std::string m_title;
    std::function<ProgressSnapshot()> m_snapshot;
    Forecast m_forecast;
    ProgressMeter m_meter;
    std::chrono::nanoseconds m_lastLook;
    std::chrono::nanoseconds m_elapsed{0};  ///< without the time at prompts
    std::chrono::nanoseconds m_nextLine;    ///< when a plain line is due
    unsigned m_looks = 0;
    std::string m_stopping;  ///< what was told of the stop
    std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_ending = false;
    std::thread m_thread;
};

}  // namespace drivetest
