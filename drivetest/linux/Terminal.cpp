#include "drivetest/terminal/Terminal.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "drivetest/run/OutputQueue.h"
#include "quix5/StopRequest.h"

namespace drivetest {

namespace {

constexpr unsigned kUsualWidth = 80;
/// How soon a stop request is noticed while waiting for input.
constexpr std::chrono::milliseconds kStopInterval{200};

using Clock = std::chrono::steady_clock;

enum class Input : unsigned char { nothing, character, closed };

/// Waits at most that long for one character.
Input readCharacter(std::chrono::milliseconds time, char& next) {
    pollfd input{STDIN_FILENO, POLLIN, 0};
    if (poll(&input, 1, static_cast<int>(time.count())) <= 0)
        return Input::nothing;
    const ssize_t got = read(STDIN_FILENO, &next, 1);
    if (got < 0 && (errno == EINTR || errno == EAGAIN))
        return Input::nothing;
    return got == 1 ? Input::character : Input::closed;
}

}  // namespace

int descriptorOf(std::FILE* stream) {
    return fileno(stream);
}

bool isTerminal(std::FILE* stream) {
    return isatty(fileno(stream)) == 1;
}

unsigned terminalWidth(std::FILE* stream) {
    winsize size{};
    return ioctl(fileno(stream), TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : kUsualWidth;
}

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

std::string userLanguage() {
    for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"})
        if (const char* value = std::getenv(variable); value != nullptr && *value != '\0')
            return value;
    return {};
}

std::string programFolder() {
    std::error_code ignored;
    return std::filesystem::read_symlink("/proc/self/exe", ignored).parent_path().string();
}

}  // namespace drivetest
