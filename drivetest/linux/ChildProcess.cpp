#include "drivetest/run/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <system_error>

namespace drivetest {

namespace {

/// Both ends of a pipe, which close with it.
class Pipe {
public:
    Pipe() { m_isOpen = pipe2(m_ends.data(), O_CLOEXEC) == 0; }
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

struct Pipes {
    Pipe input;
    Pipe output;
    Pipe errors;
};

/// 0, or an errno.
int start(const std::string& path, const std::vector<std::string>& arguments, const Pipes& pipes,
          pid_t& child) {
    std::vector<char*> words{const_cast<char*>(path.c_str())};
    for (const std::string& argument : arguments)
        words.push_back(const_cast<char*>(argument.c_str()));
    words.push_back(nullptr);
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_adddup2(&files, pipes.input.reading(), STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&files, pipes.output.writing(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&files, pipes.errors.writing(), STDERR_FILENO);
    // It would inherit that writes to closed pipes fail instead of ending it.
    sigset_t ordinary;
    sigemptyset(&ordinary);
    sigaddset(&ordinary, SIGPIPE);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setsigdefault(&attributes, &ordinary);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    const int failure = posix_spawn(&child, path.c_str(), &files, &attributes, words.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&files);
    return failure;
}

/// False at the end.
bool takeSome(int descriptor, std::string& text) {
    std::array<char, 4096> block{};
    const ssize_t got = read(descriptor, block.data(), block.size());
    if (got > 0)
        text.append(block.data(), static_cast<std::size_t>(got));
    return got > 0 || (got < 0 && errno == EINTR);
}

/// False when all is given, or nobody takes it.
bool giveSome(int descriptor, std::string_view& rest) {
    const ssize_t gone = write(descriptor, rest.data(), rest.size());
    if (gone > 0)
        rest.remove_prefix(static_cast<std::size_t>(gone));
    return !rest.empty() && (gone >= 0 || errno == EINTR || errno == EAGAIN);
}

/// Gives and takes whatever is next, for a program may fill one pipe while it waits for another.
void converse(Pipes& pipes, std::string_view input, ChildResult& result) {
    fcntl(pipes.input.writing(), F_SETFL, O_NONBLOCK);
    if (input.empty())
        pipes.input.close(1);
    while (pipes.output.reading() >= 0 || pipes.errors.reading() >= 0) {
        std::array<pollfd, 3> ends{pollfd{pipes.output.reading(), POLLIN, 0},
                                   pollfd{pipes.errors.reading(), POLLIN, 0},
                                   pollfd{pipes.input.writing(), POLLOUT, 0}};
        if (poll(ends.data(), ends.size(), -1) < 0 && errno != EINTR)
            return;
        if (ends[0].revents != 0 && !takeSome(ends[0].fd, result.output))
            pipes.output.close(0);
        if (ends[1].revents != 0 && !takeSome(ends[1].fd, result.errors))
            pipes.errors.close(0);
        if (ends[2].revents != 0 && !giveSome(ends[2].fd, input))
            pipes.input.close(1);
    }
}

}  // namespace

ChildResult runChild(const std::string& path, const std::vector<std::string>& arguments,
                     std::string_view input) {
    ChildResult result;
    Pipes pipes;
    pid_t child = -1;
    int failure = errno;
    if (pipes.input.isOpen() && pipes.output.isOpen() && pipes.errors.isOpen())
        failure = start(path, arguments, pipes, child);
    if (child < 0 || failure != 0) {
        result.errors = std::generic_category().message(failure);
        return result;
    }
    pipes.input.close(0);
    pipes.output.close(1);
    pipes.errors.close(1);
    converse(pipes, input, result);
    pipes.input.close(1);
    int status = 0;
    while (waitpid(child, &status, 0) < 0)
        if (errno != EINTR)
            return result;
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
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
