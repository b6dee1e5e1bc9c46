#include "drivetest/run/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <system_error>

#include "quix5/StopRequest.h"

namespace drivetest {

namespace {

/// Both ends of a pipe, which close with it.
class Pipe {
public:
    Pipe() : m_isOpen(pipe2(m_ends.data(), O_CLOEXEC) == 0) {}
    ~Pipe() {
        close(0);
        close(1);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    [[nodiscard]] bool isOpen() const { return m_isOpen; }
    [[nodiscard]] int reading() const { return m_ends[0]; }
    [[nodiscard]] int writing() const { return m_ends[1]; }
    void close(std::size_t end) {
        if (m_ends.at(end) >= 0)
            ::close(m_ends.at(end));
        m_ends.at(end) = -1;
    }

private:
    std::array<int, 2> m_ends{-1, -1};
    bool m_isOpen;
};

using Time = std::chrono::steady_clock;
/// How often the child is looked at.
constexpr int kSliceMs = 20;
/// From the request to end to the end without one.
constexpr std::chrono::seconds kTimeToEnd{2};

struct Pipes {
    Pipe input;
    Pipe output;
    Pipe errors;
};

bool hasTerminal() {
    const int terminal = open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (terminal >= 0)
        close(terminal);
    return terminal >= 0;
}

/// The environment that the child gets.
std::vector<std::string> environmentWith(const std::string& temporaryFolder) {
    constexpr std::string_view kName = "TMPDIR=";
    std::vector<std::string> environment;
    for (char** entry = environ; *entry != nullptr; ++entry)
        if (temporaryFolder.empty() || !std::string_view(*entry).starts_with(kName))
            environment.emplace_back(*entry);
    if (!temporaryFolder.empty())
        environment.push_back(std::string(kName) + temporaryFolder);
    return environment;
}

/// As execve() wants them.
std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

/// A process that was started, until reap().
class Child {
public:
    /// 0, or an errno. In a group of its own it ends with all it has started, but cannot use the terminal.
    int start(const std::string& path, const std::vector<std::string>& arguments, const Pipes& pipes,
              const ChildOptions& options);

    [[nodiscard]] bool hasEnded() const {
        siginfo_t info{};
        const int failed = waitid(P_PID, static_cast<id_t>(m_process), &info, WEXITED | WNOWAIT | WNOHANG);
        return failed != 0 ? errno != EINTR : info.si_pid != 0;
    }
    /// To its group too, which is there until reap().
    void send(int signal) const { kill(m_ownGroup ? -m_process : m_process, signal); }

    void reap(ChildResult& result) const {
        int status = 0;
        pid_t ended = -1;
        do
            ended = waitpid(m_process, &status, 0);
        while (ended < 0 && errno == EINTR);
        const bool isExit = ended == m_process && WIFEXITED(status);
        result.end = isExit ? ChildResult::End::byItself : ChildResult::End::killed;
        result.status = isExit ? WEXITSTATUS(status) : -1;
    }

private:
    pid_t m_process = -1;
    bool m_ownGroup = false;
};

int Child::start(const std::string& path, const std::vector<std::string>& arguments, const Pipes& pipes,
                 const ChildOptions& options) {
    m_ownGroup = !options.mayAsk || !hasTerminal();
    // Ignored, as whoever started this program may have left it, it would hide how the child ended.
    std::signal(SIGCHLD, SIG_DFL);
    std::vector<std::string> words{path};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<std::string> environment = environmentWith(options.temporaryFolder);
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_adddup2(&files, pipes.input.reading(), STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&files, pipes.output.writing(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&files, pipes.errors.writing(), STDERR_FILENO);
    // It would inherit that such writes fail instead of ending it.
    sigset_t ordinary;
    sigemptyset(&ordinary);
    for (const int signal : {SIGPIPE, SIGXFSZ})
        sigaddset(&ordinary, signal);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setsigdefault(&attributes, &ordinary);
    const int group = m_ownGroup ? POSIX_SPAWN_SETPGROUP : 0;
    posix_spawnattr_setflags(&attributes, static_cast<short>(POSIX_SPAWN_SETSIGDEF | group));
    const int failure = posix_spawn(&m_process, path.c_str(), &files, &attributes, pointersTo(words).data(),
                                    pointersTo(environment).data());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&files);
    return failure;
}

/// Gives and takes, for a program may fill one pipe while it waits for another. Waits for what is next, but
/// at most that long; false when nothing was.
class Conversation {
public:
    Conversation(Pipes& pipes, const ChildOptions& options, ChildResult& result)
        : m_pipes(pipes), m_input(options.input), m_mostBytes(options.mostBytes), m_result(result) {
        for (const int end : {pipes.input.writing(), pipes.output.reading(), pipes.errors.reading()})
            fcntl(end, F_SETFL, O_NONBLOCK);
        if (m_input.empty())
            pipes.input.close(1);
    }

    bool exchange(int waitMs) {
        std::array<pollfd, 3> ends{pollfd{m_pipes.output.reading(), POLLIN, 0},
                                   pollfd{m_pipes.errors.reading(), POLLIN, 0},
                                   pollfd{m_pipes.input.writing(), POLLOUT, 0}};
        if (poll(ends.data(), ends.size(), waitMs) <= 0)
            return false;
        if (ends[0].revents != 0 && !take(ends[0].fd, m_result.output))
            m_pipes.output.close(0);
        if (ends[1].revents != 0 && !take(ends[1].fd, m_result.errors))
            m_pipes.errors.close(0);
        if (ends[2].revents != 0 && !give(ends[2].fd))
            m_pipes.input.close(1);
        return true;
    }

private:
    static bool isForLater() { return errno == EINTR || errno == EAGAIN; }

    /// False at the end.
    [[nodiscard]] bool take(int descriptor, std::string& text) const {
        std::array<char, 65536> block{};
        const ssize_t got = read(descriptor, block.data(), block.size());
        if (got > 0)
            text.append(block.data(), std::min(static_cast<std::size_t>(got), m_mostBytes - text.size()));
        return got > 0 || (got < 0 && isForLater());
    }
    /// False when all is given, or nobody takes it.
    bool give(int descriptor) {
        const ssize_t gone = write(descriptor, m_input.data(), m_input.size());
        if (gone > 0)
            m_input.remove_prefix(static_cast<std::size_t>(gone));
        return !m_input.empty() && (gone >= 0 || isForLater());
    }

    Pipes& m_pipes;
    std::string_view m_input;
    std::size_t m_mostBytes;
    ChildResult& m_result;
};

/// Until the child has ended, or has to. False when it has not.
template <class HasTo>
bool follow(const Child& child, Conversation& conversation, HasTo hasTo) {
    while (!child.hasEnded()) {
        if (hasTo())
            return false;
        conversation.exchange(kSliceMs);
    }
    return true;
}

/// Why the child has to end by now; byItself for no reason.
ChildResult::End findReason(Time::time_point deadline) {
    if (quix5::StopRequest::made())
        return ChildResult::End::stopRequest;
    return Time::now() >= deadline ? ChildResult::End::tooLate : ChildResult::End::byItself;
}

/// Asks it to end first: it may have to make the terminal show again what is typed.
void end(const Child& child, Conversation& conversation) {
    child.send(SIGTERM);
    const auto deadline = Time::now() + kTimeToEnd;
    (void)follow(child, conversation, [deadline] { return Time::now() >= deadline; });
}

}  // namespace

ChildResult runChild(const std::string& path, const std::vector<std::string>& arguments,
                     const ChildOptions& options) {
    ChildResult result;
    if (quix5::StopRequest::made()) {
        result.end = ChildResult::End::stopRequest;
        return result;
    }
    Pipes pipes;
    Child child;
    int failure = errno;
    if (pipes.input.isOpen() && pipes.output.isOpen() && pipes.errors.isOpen())
        failure = child.start(path, arguments, pipes, options);
    if (failure != 0) {
        result.errors = std::generic_category().message(failure);
        return result;
    }
    pipes.input.close(0);
    pipes.output.close(1);
    pipes.errors.close(1);
    Conversation conversation(pipes, options, result);
    const auto deadline = Time::now() + options.longest;
    ChildResult::End why = ChildResult::End::byItself;
    if (!follow(child, conversation,
                [&why, deadline] { return (why = findReason(deadline)) != ChildResult::End::byItself; }))
        end(child, conversation);
    child.send(SIGKILL);  // what it has started
    child.reap(result);
    while (conversation.exchange(0)) {}
    if (why != ChildResult::End::byItself)
        result.end = why;
    return result;
}

std::vector<std::string> programFolders() {
    const char* const path = std::getenv("PATH");
    std::string_view rest = path != nullptr ? path : "/usr/local/bin:/usr/bin:/bin";
    std::vector<std::string> folders;
    while (!rest.empty()) {
        const std::string_view folder = rest.substr(0, rest.find(':'));
        if (!folder.empty())
            folders.emplace_back(folder);
        rest.remove_prefix(std::min(rest.size(), folder.size() + 1));
    }
    return folders;
}

std::string_view programSuffix() {
    return "";
}

}  // namespace drivetest
