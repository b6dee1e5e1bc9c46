#include "drivetest/shelf/ReportPipe.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
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
    std::string take() override {
        constexpr std::size_t kMost = 65536;
        std::string text;
        std::array<char, 4096> block{};
        pollfd input{m_isToldByPipe ? STDIN_FILENO : -1, POLLIN, 0};
        while (text.size() < kMost && poll(&input, 1, 0) == 1 && (input.revents & POLLIN) != 0) {
            const ssize_t got = read(STDIN_FILENO, block.data(), block.size());
            if (got <= 0)
                break;
            text.append(block.data(), static_cast<std::size_t>(got));
        }
        return text;
    }
    bool waitForEnd(std::chrono::milliseconds longest) override {
        pollfd end{m_descriptor, 0, 0};
        return poll(&end, 1, static_cast<int>(longest.count())) == 1 && (end.revents & POLLERR) != 0;
    }

private:
    static bool isPipe(int descriptor) {
        struct stat found {};
        return fstat(descriptor, &found) == 0 && S_ISFIFO(found.st_mode);
    }

    int m_descriptor;
    bool m_isToldByPipe = isPipe(STDIN_FILENO);
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
