#include "drivetest/terminal/Terminal.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

namespace drivetest {

int descriptorOf(std::FILE* stream) {
    return fileno(stream);
}

bool isTerminal(std::FILE* stream) {
    return isatty(fileno(stream)) == 1;
}

TerminalSize terminalSize(std::FILE* stream) {
    TerminalSize size;
    winsize told{};
    if (ioctl(fileno(stream), TIOCGWINSZ, &told) != 0)
        return size;
    if (told.ws_col > 0)
        size.columns = told.ws_col;
    if (told.ws_row > 0)
        size.rows = told.ws_row;
    return size;
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
