#include "drivetest/terminal/Terminal.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

namespace drivetest {

namespace {

constexpr unsigned kUsualWidth = 80;

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

Input readCharacter(std::chrono::milliseconds time, char& next) {
    pollfd input{STDIN_FILENO, POLLIN, 0};
    if (poll(&input, 1, static_cast<int>(time.count())) <= 0)
        return Input::nothing;
    const ssize_t got = read(STDIN_FILENO, &next, 1);
    if (got < 0 && (errno == EINTR || errno == EAGAIN))
        return Input::nothing;
    return got == 1 ? Input::character : Input::closed;
}

std::string systemLanguage() {
    return {};  // its programs are told by the environment
}

std::string programFolder() {
    std::error_code ignored;
    return std::filesystem::read_symlink("/proc/self/exe", ignored).parent_path().string();
}

}  // namespace drivetest
