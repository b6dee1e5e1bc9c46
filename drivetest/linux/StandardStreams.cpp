#include "drivetest/run/StandardStreams.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "zel/Uninterrupted.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

/// Why what is printed must not go there; empty when it may.
std::string checkStream(int descriptor, const std::string& name, const DataGuard& holdsData) {
    struct stat found {};
    if (fstat(descriptor, &found) != 0)
        return {};
    const auto sentence = [&name](const std::string& why) {
        return words("{stream} must not be written to where it leads: {reason}",
                     {{"stream", name}, {"reason", why}});
    };
    if (S_ISBLK(found.st_mode))
        return sentence(words("it is a drive; lead it to a file or a terminal"));
    const std::string why =
        S_ISREG(found.st_mode) ? holdsData("/proc/self/fd/" + std::to_string(descriptor)) : std::string();
    return why.empty() ? why : sentence(words("{reason}; lead it to another file", {{"reason", why}}));
}

void leadToNothing(int descriptor) {
    const int nothing = zel::uninterrupted([] { return open("/dev/null", O_RDWR | O_CLOEXEC); });
    if (nothing < 0 || zel::uninterrupted([&] { return dup2(nothing, descriptor); }) < 0)
        close(descriptor);
    if (nothing >= 0)
        close(nothing);
}

void replace(int descriptor, int other, bool otherIsGood) {
    if (!otherIsGood || zel::uninterrupted([&] { return dup2(other, descriptor); }) < 0)
        leadToNothing(descriptor);
}

}  // namespace

bool openClosedStreams() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) >= 0 || errno != EBADF)
            continue;
        // The lowest number that is free is taken, which is this one.
        if (zel::uninterrupted([] { return open("/dev/null", O_RDWR); }) != descriptor)
            return false;
    }
    return true;
}

bool checkStandardStreams(const DataGuard& holdsData, std::string& error) {
    const std::string ofOutput = checkStream(STDOUT_FILENO, words("standard output"), holdsData);
    const std::string ofErrors = checkStream(STDERR_FILENO, words("standard error"), holdsData);
    if (!ofOutput.empty())
        replace(STDOUT_FILENO, STDERR_FILENO, ofErrors.empty());
    if (!ofErrors.empty())
        replace(STDERR_FILENO, STDOUT_FILENO, ofOutput.empty());
    error = ofOutput.empty() ? ofErrors : ofOutput;
    return error.empty();
}

}  // namespace drivetest
