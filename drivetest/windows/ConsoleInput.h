#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>

#include "drivetest/terminal/Terminal.h"

namespace drivetest {

/// What is typed at the console, in UTF-8. The system reads lines, and cannot be made to stop; so a thread of
/// its own waits for them, for as long as the process lives, and keeps what nobody has asked for yet.
class ConsoleInput {
public:
    /// Never destroyed, like its thread.
    static ConsoleInput& get();
    /// Waits at most that long for one character.
    Input take(std::chrono::milliseconds time, char& next);

private:
    void readAll();
    bool readLine();

    std::mutex m_mutex;
    std::condition_variable m_arrived;
    std::deque<char> m_typed;
    bool m_started = false;
    bool m_closed = false;
};

}  // namespace drivetest
