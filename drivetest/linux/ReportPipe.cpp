#include "drivetest/shelf/ReportPipe.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <csignal>

#include "quix5/StopRequest.h"

namespace drivetest {

namespace {

class Pipe : public ReportPipe {
public:
    explicit Pipe(int descriptor) : m_descriptor(descriptor) {}
    ~Pipe() override { close(m_descriptor); }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    /// pipe(7): so short a line is written whole or not at all.
    void send(std::string_view line) override {
        if (line.size() <= PIPE_BUF)
            (void)!write(m_descriptor, line.data(), line.size());
    }
    bool waitForEnd(std::chrono::milliseconds longest) override {
        pollfd end{m_descriptor, 0, 0};
        return poll(&end, 1, static_cast<int>(longest.count())) == 1 && (end.revents & POLLERR) != 0;
    }

private:
    int m_descriptor;
};

}  // namespace

std::unique_ptr<ReportPipe> ReportPipe::adopt(long long number) {
    constexpr int kFirst = STDERR_FILENO + 1;
    const int descriptor = static_cast<int>(number);
    struct stat found {};
    if (number != descriptor || descriptor < kFirst || fstat(descriptor, &found) != 0 ||
        !S_ISFIFO(found.st_mode) || (fcntl(descriptor, F_GETFL) & O_ACCMODE) != O_WRONLY)
        return nullptr;
    // Programs that this one starts would keep it open.
    fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    fcntl(descriptor, F_SETFL, O_NONBLOCK);
    return std::make_unique<Pipe>(descriptor);
}

/// The signal ends what the test's thread waits for; it is none of those that insist.
void stopAsIfAsked() {
    quix5::StopRequest::make();
    struct sigaction action {};
    if (sigaction(SIGHUP, nullptr, &action) == 0 && action.sa_handler != SIG_DFL)
        kill(getpid(), SIGHUP);
}

}  // namespace drivetest
