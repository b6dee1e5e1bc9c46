#include "drivetest/terminal/Terminal.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "quix5/StopRequest.h"

namespace drivetest {

namespace {

constexpr unsigned kUsualWidth = 80;
/// How soon a stop request is noticed while waiting for input.
constexpr std::chrono::milliseconds kStopInterval{200};

/// One line without its end; false at the end of input.
bool readLine(std::string& line) {
    line.clear();
    char next = '\0';
    ssize_t got = 0;
    while ((got = read(STDIN_FILENO, &next, 1)) == 1 && next != '\n')
        line += next;
    return got == 1;
}

}  // namespace

bool isTerminal(std::FILE* stream) {
    return isatty(fileno(stream)) == 1;
}

unsigned terminalWidth(std::FILE* stream) {
    winsize size{};
    return ioctl(fileno(stream), TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : kUsualWidth;
}

InputWait waitForLine(std::chrono::milliseconds time, std::string& line) {
    const auto end = std::chrono::steady_clock::now() + time;
    while (!quix5::StopRequest::made()) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        if (time.count() >= 0 && left.count() <= 0)
            return InputWait::timeout;
        pollfd input{STDIN_FILENO, POLLIN, 0};
        const auto step = time.count() < 0 ? kStopInterval : std::min(kStopInterval, left);
        if (poll(&input, 1, static_cast<int>(step.count())) > 0)
            return readLine(line) ? InputWait::line : InputWait::closed;
    }
    return InputWait::closed;
}

std::string programFolder() {
    std::error_code ignored;
    return std::filesystem::read_symlink("/proc/self/exe", ignored).parent_path().string();
}

}  // namespace drivetest
