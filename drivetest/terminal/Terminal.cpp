#include "drivetest/terminal/Terminal.h"

#include <algorithm>

#include "drivetest/run/OutputQueue.h"
#include "quix5/StopRequest.h"

namespace drivetest {

namespace {

/// How soon a stop request is noticed while waiting for input.
constexpr std::chrono::milliseconds kStopInterval{200};

using Clock = std::chrono::steady_clock;

}  // namespace

InputWait waitForLine(std::chrono::milliseconds time, std::string& line) {
    const auto end = Clock::now() + time;
    const auto isOver = [&] { return time.count() >= 0 && Clock::now() >= end; };
    OutputQueue::waitForStandard([&] { return !quix5::StopRequest::made() && !isOver(); });
    line.clear();
    while (!quix5::StopRequest::made()) {
        if (isOver())
            return InputWait::timeout;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        char next = '\0';
        const Input input =
            readCharacter(time.count() < 0 ? kStopInterval : std::min(kStopInterval, left), next);
        if (input == Input::closed)
            return InputWait::closed;
        if (input == Input::character && next == '\n')
            return InputWait::line;
        if (input == Input::character)
            line += next;
    }
    return InputWait::closed;
}

}  // namespace drivetest
