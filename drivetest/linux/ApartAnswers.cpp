#include "drivetest/devices/ApartAnswers.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <list>
#include <optional>

#include "quix5/StopRequest.h"
#include "zel/Uninterrupted.h"

namespace drivetest {

namespace {

using Clock = std::chrono::steady_clock;
using Question = std::function<std::string()>;

/// More at once would only wait for each other.
constexpr std::size_t kMostAtOnce = 64;
constexpr std::size_t kMostBytes = std::size_t{1} << 20;
constexpr std::chrono::milliseconds kSlice{100};
/// How soon the end of a process is seen that has told all.
constexpr std::chrono::milliseconds kEndSlice{2};
/// The system ends a process at once, unless it waits for its drive.
constexpr std::chrono::seconds kTimeToVanish{1};
/// Ends an answer, so that one which was broken off is known.
constexpr char kEnd = '\n';

/// Nothing of the parent's stays open: a process that never ends would keep it from others.
void keepOnly(int pipe) {
    const int nothing = open("/dev/null", O_RDWR);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        dup2(nothing, stream);
    constexpr int kPipe = STDERR_FILENO + 1;
    if (pipe != kPipe)
        dup2(pipe, kPipe);
    close_range(kPipe + 1, ~0U, 0);
}

[[noreturn]] void answer(const Question& question, int pipe) {
    keepOnly(pipe);
    for (const int signal : {SIGPIPE, SIGINT, SIGTERM, SIGHUP})
        std::signal(signal, SIG_DFL);
    const std::string text = question() + kEnd;
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t gone = zel::uninterrupted(
            [&] { return write(STDERR_FILENO + 1, text.data() + done, text.size() - done); });
        if (gone <= 0)
            break;
        done += static_cast<std::size_t>(gone);
    }
    _exit(done == text.size() ? 0 : 1);
}

/// A process that asks.
class Asking {
public:
    Asking(const Question& question, ApartAnswer& answered, Clock::time_point deadline)
        : m_answer(answered), m_deadline(deadline) {
        std::array<int, 2> ends{-1, -1};
        m_answer.end = ApartAnswer::End::crashed;
        if (pipe2(ends.data(), O_CLOEXEC) != 0)
            return;
        m_process = fork();
        if (m_process == 0)
            answer(question, ends[1]);
        m_pipe = ends[0];
        close(ends[1]);
        fcntl(m_pipe, F_SETFL, O_NONBLOCK);
        if (m_process < 0)
            closePipe();
    }
    ~Asking() { closePipe(); }
    Asking(const Asking&) = delete;
    Asking& operator=(const Asking&) = delete;

    /// False when the system gives no process for it.
    [[nodiscard]] bool isUnderWay() const { return m_process > 0; }
    /// -1 when all was told.
    [[nodiscard]] int pipe() const { return m_pipe; }
    /// Takes what has come; true when there is nothing more to wait for.
    bool look(Clock::time_point now) {
        const bool isTooLate = now >= m_deadline || quix5::StopRequest::made();
        if (m_pipe >= 0 && !take())
            judge();
        if (m_pipe >= 0 && isTooLate)
            giveUp(now >= m_deadline ? ApartAnswer::End::silent : ApartAnswer::End::stopped, now);
        // It may be kept even at its end. What the system does not end is left to it.
        const bool isLeft = m_killed ? now - *m_killed >= kTimeToVanish : isTooLate;
        return m_pipe < 0 && (m_process < 0 || waitpid(m_process, nullptr, WNOHANG) != 0 || isLeft);
    }

private:
    /// False at the end.
    bool take() {
        std::array<char, 4096> block{};
        const ssize_t got = zel::uninterrupted([&] { return read(m_pipe, block.data(), block.size()); });
        if (got > 0)
            m_answer.text.append(block.data(), static_cast<std::size_t>(got));
        return (got > 0 && m_answer.text.size() < kMostBytes) || (got < 0 && errno == EAGAIN);
    }
    void judge() {
        const bool isWhole = m_answer.text.ends_with(kEnd);
        m_answer.end = isWhole ? ApartAnswer::End::answered : ApartAnswer::End::crashed;
        m_answer.text.resize(isWhole ? m_answer.text.size() - 1 : 0);
        closePipe();
    }
    void giveUp(ApartAnswer::End how, Clock::time_point now) {
        m_answer = {how, ""};
        kill(m_process, SIGKILL);
        m_killed = now;
        closePipe();
    }
    void closePipe() {
        if (m_pipe >= 0)
            close(m_pipe);
        m_pipe = -1;
    }

    ApartAnswer& m_answer;
    Clock::time_point m_deadline;
    std::optional<Clock::time_point> m_killed;
    pid_t m_process = -1;
    int m_pipe = -1;
};

void waitForAny(const std::list<Asking>& asking) {
    std::vector<pollfd> pipes;
    for (const Asking& each : asking)
        if (each.pipe() >= 0)
            pipes.push_back({each.pipe(), POLLIN, 0});
    const auto longest = pipes.size() < asking.size() ? kEndSlice : kSlice;
    (void)poll(pipes.data(), pipes.size(), static_cast<int>(longest.count()));
}

}  // namespace

std::vector<ApartAnswer> askApart(const std::vector<Question>& questions, std::chrono::milliseconds longest) {
    // Ignored, as whoever started this program may have left it, nothing could be waited for.
    std::signal(SIGCHLD, SIG_DFL);
    std::vector<ApartAnswer> answers(questions.size());
    std::list<Asking> asking;
    std::size_t next = 0;
    while (next < questions.size() || !asking.empty()) {
        for (; next < questions.size() && asking.size() < kMostAtOnce; ++next) {
            asking.emplace_back(questions[next], answers[next], Clock::now() + longest);
            if (asking.back().isUnderWay() || asking.size() == 1)
                continue;
            asking.pop_back();  // when one of the others has ended there is room for it
            break;
        }
        waitForAny(asking);
        asking.remove_if([now = Clock::now()](Asking& each) { return each.look(now); });
    }
    return answers;
}

}  // namespace drivetest
