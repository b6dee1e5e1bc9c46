#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace drivetest {

/// How a process has ended.
struct ProcessEnd {
    bool isExit = false;  ///< by itself, with this status
    int status = -1;
    bool isFault = false;  ///< else: by a fault of its own, not by somebody
    std::string cause{};   ///< of that: "SIGSEGV"
};

/// This program in another process, which carries out one run of one drive and tells how far it is.
class RunProcess {
public:
    enum class Push : unsigned char {
        stop,     ///< as the first Ctrl-C
        hurry,    ///< as the second
        destroy,  ///< at once, without its doing
    };

    /// With these arguments, a command first, to whose options the pipe's number is added. What it prints
    /// goes to the file `log`, which is made; a file that is there already is refused. Null after a sentence
    /// in `error`; `isCrowded` when the system would have room for it once another process has ended, and
    /// nothing is left of the attempt.
    static std::unique_ptr<RunProcess> start(std::vector<std::string> arguments, const std::string& log,
                                             std::string& error, bool& isCrowded);
    /// A process that runs still is left to itself: it stops, as its pipe has no reader any more.
    virtual ~RunProcess() = default;
    RunProcess(const RunProcess&) = delete;
    RunProcess& operator=(const RunProcess&) = delete;

    /// For people, and for whoever wants to look at it.
    [[nodiscard]] virtual long long number() const = 0;
    /// What it has told since the last call; does not wait.
    virtual std::string take() = 0;
    /// A line for it, whole or not at all; false when there is no room for it now, or no way.
    virtual bool tell(std::string_view line) = 0;
    /// Nothing while it runs.
    virtual std::optional<ProcessEnd> ended() = 0;
    virtual void push(Push push) = 0;
    /// Waits until one of them tells something or ends, but no longer than that.
    static void waitForAny(const std::vector<RunProcess*>& processes, std::chrono::milliseconds longest);

protected:
    RunProcess() = default;
};

}  // namespace drivetest
