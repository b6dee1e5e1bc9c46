#include "drivetest/shelf/RunProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <system_error>
#include <utility>

#include "drivetest/run/Signals.h"
#include "drivetest/shelf/ShelfWork.h"
#include "zel/Uninterrupted.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

constexpr int kPipeOfChild = STDERR_FILENO + 1;
constexpr mode_t kLogMode = 0644;
/// How soon the end of a process is seen whose pipe has closed already.
constexpr std::chrono::milliseconds kEndInterval{5};

/// Those that run, for a signal handler; 0 for none.
std::array<std::atomic<pid_t>, kMostJobs> running{};
static_assert(std::atomic<pid_t>::is_always_lock_free);

/// Safe in a signal handler. Each is the leader of a group.
void destroyAll() {
    for (const auto& process : running)
        if (const pid_t number = process.load(); number > 0)
            kill(-number, SIGKILL);
}

bool isFault(int signal) {
    constexpr std::array kFaults{SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT, SIGSYS, SIGTRAP};
    return std::ranges::find(kFaults, signal) != kFaults.end();
}

std::string nameOf(int signal) {
    const char* const name = sigabbrev_np(signal);
    return name != nullptr ? std::string("SIG") + name : std::to_string(signal);
}

/// A file descriptor that closes with this.
class Descriptor {
public:
    explicit Descriptor(int number) : m_number(number) {}
    ~Descriptor() { close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    [[nodiscard]] int number() const { return m_number; }
    void close() {
        if (m_number >= 0)
            ::close(m_number);
        m_number = -1;
    }
    int release() { return std::exchange(m_number, -1); }

private:
    int m_number;
};

/// Both ends of a pipe.
class Pipe {
public:
    Pipe()
        : m_failure(pipe2(m_ends.data(), O_CLOEXEC) == 0 ? 0 : errno),
          m_reading(m_ends[0]),
          m_writing(m_ends[1]) {}

    /// An errno; 0 for none.
    [[nodiscard]] int failure() const { return m_failure; }
    [[nodiscard]] int reading() const { return m_reading.number(); }
    [[nodiscard]] int writing() const { return m_writing.number(); }
    int releaseReading() { return m_reading.release(); }
    int releaseWriting() { return m_writing.release(); }

private:
    std::array<int, 2> m_ends{-1, -1};
    int m_failure;
    Descriptor m_reading;
    Descriptor m_writing;
};

/// What the process gets for its standard streams, and where it tells how far it is.
struct Streams {
    int input;
    int log;
    int pipe;
};

/// In a group of its own: Ctrl-C is for the program that the person has started, and that hands it on. 0, or
/// an errno.
int spawn(std::vector<std::string>& words, const Streams& streams, pid_t& process) {
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_adddup2(&files, streams.input, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&files, streams.log, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&files, streams.log, STDERR_FILENO);
    // The last one: another of them may have that number here.
    posix_spawn_file_actions_adddup2(&files, streams.pipe, kPipeOfChild);
    // Nothing of whoever started this program: a process that never ends would keep it.
    posix_spawn_file_actions_addclosefrom_np(&files, kPipeOfChild + 1);
    // What this process ignores, or was told to, must end that one all the same.
    sigset_t ordinary;
    sigemptyset(&ordinary);
    for (const int signal : {SIGPIPE, SIGXFSZ, SIGTERM, SIGINT, SIGCHLD})
        sigaddset(&ordinary, signal);
    // A stop that comes before it listens waits for it, see stopOnSignals().
    sigset_t waiting;
    sigemptyset(&waiting);
    for (const int signal : {SIGTERM, SIGINT})
        sigaddset(&waiting, signal);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setsigdefault(&attributes, &ordinary);
    posix_spawnattr_setsigmask(&attributes, &waiting);
    posix_spawnattr_setflags(&attributes, static_cast<short>(POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK |
                                                             POSIX_SPAWN_SETPGROUP));
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    // The file that runs, also where another has taken its place since.
    const int failure =
        posix_spawn(&process, "/proc/self/exe", &files, &attributes, arguments.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&files);
    return failure;
}

class Process : public RunProcess {
public:
    Process(pid_t number, int pipe, int input, std::atomic<pid_t>& entry)
        : m_number(number), m_pipe(pipe), m_input(input), m_entry(entry) {
        for (const int end : {pipe, input})
            fcntl(end, F_SETFL, O_NONBLOCK);
        m_entry.store(number);
    }
    ~Process() override { m_entry.store(0); }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    [[nodiscard]] long long number() const override { return m_number; }
    [[nodiscard]] int pipe() const { return m_pipe.number(); }

    std::string take() override {
        std::string text;
        std::array<char, 16384> block{};
        while (pipe() >= 0 && text.size() < kMostTaken) {
            const ssize_t got = zel::uninterrupted([&] { return read(pipe(), block.data(), block.size()); });
            if (got > 0)
                text.append(block.data(), static_cast<std::size_t>(got));
            if (got == 0)
                m_pipe.close();
            if (got <= 0)
                break;
        }
        return text;
    }

    /// pipe(7): so short a line is written whole or not at all.
    bool tell(std::string_view line) override {
        const auto give = [&] { return write(m_input.number(), line.data(), line.size()); };
        return line.size() <= PIPE_BUF && zel::uninterrupted(give) > 0;
    }

    std::optional<ProcessEnd> ended() override {
        if (m_end)
            return m_end;
        siginfo_t info{};
        const auto look = [&] {
            return waitid(P_PID, static_cast<id_t>(m_number), &info, WEXITED | WNOHANG | WNOWAIT);
        };
        if (zel::uninterrupted(look) == 0 && info.si_pid == 0)
            return std::nullopt;
        // Its number is another's as soon as it was waited for.
        m_entry.store(0);
        kill(-m_number, SIGKILL);  // what it has started
        int status = 0;
        const pid_t gone = zel::uninterrupted([&] { return waitpid(m_number, &status, 0); });
        m_end.emplace();
        if (gone == m_number && WIFEXITED(status)) {
            m_end->isExit = true;
            m_end->status = WEXITSTATUS(status);
        } else if (gone == m_number && WIFSIGNALED(status)) {
            m_end->isFault = isFault(WTERMSIG(status));
            m_end->cause = nameOf(WTERMSIG(status));
        }
        return m_end;
    }

    void push(Push push) override {
        if (m_end)
            return;
        if (push == Push::destroy)
            kill(-m_number, SIGKILL);
        else  // two of a kind that wait are one
            kill(m_number, push == Push::stop ? SIGTERM : SIGINT);
    }

private:
    static constexpr std::size_t kMostTaken = std::size_t{1} << 20;

    pid_t m_number;
    Descriptor m_pipe;
    Descriptor m_input;
    std::atomic<pid_t>& m_entry;
    std::optional<ProcessEnd> m_end;
};

std::atomic<pid_t>* freeEntry() {
    const auto found = std::ranges::find_if(running, [](const auto& entry) { return entry.load() == 0; });
    return found != running.end() ? &*found : nullptr;
}

/// The limits on processes and open files, and memory.
bool isLackOfRoom(int failure) {
    return failure == EAGAIN || failure == EMFILE || failure == ENFILE || failure == ENOMEM;
}

std::string failureText(int failure) {
    return zel::words("a process for the test could not be started: {reason}",
                      {{"reason", std::generic_category().message(failure)}});
}

}  // namespace

std::unique_ptr<RunProcess> RunProcess::start(std::vector<std::string> arguments, const std::string& log,
                                              std::string& error, bool& isCrowded) {
    // Ignored, as whoever started this program may have left it, it would hide how a process ends.
    std::signal(SIGCHLD, SIG_DFL);
    setLastDeed(&destroyAll);
    const auto made = [](const std::string& path, int flags) {
        return zel::uninterrupted([&] { return open(path.c_str(), flags | O_CLOEXEC, kLogMode); });
    };
    const Descriptor logFile(made(log, O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_NOFOLLOW));
    if (logFile.number() < 0) {
        isCrowded = isLackOfRoom(errno);
        error = zel::words("{file} could not be made: {reason}",
                           {{"file", log}, {"reason", std::generic_category().message(errno)}});
        return nullptr;
    }
    Pipe report;
    Pipe input;
    std::atomic<pid_t>* const entry = freeEntry();
    int failure = entry == nullptr ? EAGAIN : report.failure() != 0 ? report.failure() : input.failure();
    pid_t process = -1;
    if (failure == 0) {
        arguments.insert(arguments.begin() + 1, "--progress-to=" + std::to_string(kPipeOfChild));
        arguments.insert(arguments.begin(), "drivetest");
        failure = spawn(arguments, {input.reading(), logFile.number(), report.writing()}, process);
    }
    if (failure == 0)
        return std::make_unique<Process>(process, report.releaseReading(), input.releaseWriting(), *entry);
    error = failureText(failure);
    isCrowded = isLackOfRoom(failure);
    if (isCrowded)
        unlink(log.c_str());
    return nullptr;
}

void RunProcess::waitForAny(const std::vector<RunProcess*>& processes, std::chrono::milliseconds longest) {
    std::vector<pollfd> pipes;
    bool isAnyClosed = false;
    for (RunProcess* const each : processes) {
        const int pipe = static_cast<Process*>(each)->pipe();
        isAnyClosed = isAnyClosed || pipe < 0;
        if (pipe >= 0)
            pipes.push_back({pipe, POLLIN, 0});
    }
    const auto time = isAnyClosed ? std::min(longest, kEndInterval) : longest;
    (void)poll(pipes.data(), pipes.size(), static_cast<int>(time.count()));
}

}  // namespace drivetest
