#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "drivetest/terminal/Console.h"
#include "zel/Clock.h"

namespace drivetest {

/// What the status line shows besides time.
struct ProgressSnapshot {
    int percent = 0;
    std::uint64_t bytes = 0;
    std::uint64_t errors = 0;
    std::uint64_t warnings = 0;
    std::string activity;  ///< what the test says it is doing; may be empty
};

/// "LinearReadTest /dev/sdb  42 %  180.3 MB/s  0:01:10, 0:01:37 left  3 errors  0 warnings"
std::string progressText(const std::string& title, const ProgressSnapshot& now,
                         std::chrono::nanoseconds elapsed);

/// Shows a running test from a thread of its own: several times a second on a terminal, a plain line now and
/// then without one; nothing while the console asks. Runs from construction to destruction.
class ProgressDisplay {
public:
    /// `snapshot` is called on the display's thread.
    ProgressDisplay(Console& console, std::string title, std::function<ProgressSnapshot()> snapshot);
    ~ProgressDisplay();
    ProgressDisplay(const ProgressDisplay&) = delete;
    ProgressDisplay& operator=(const ProgressDisplay&) = delete;

private:
    void show();

    Console& m_console;
    std::string m_title;
    std::function<ProgressSnapshot()> m_snapshot;
    zel::Stopwatch m_watch;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_ending = false;
    std::thread m_thread;
};

}  // namespace drivetest
