#include <cerrno>
#include <cstdio>
#include <iostream>
#include <new>
#include <system_error>

#include "drivetest/ExitStatus.h"
#include "drivetest/commands/Arguments.h"
#include "drivetest/commands/Commands.h"
#include "drivetest/run/OutputQueue.h"
#include "drivetest/run/Signals.h"
#include "drivetest/run/StandardStreams.h"
#include "drivetest/terminal/Console.h"
#include "zel/Words.h"

namespace {

constexpr std::size_t kMostPrinted = std::size_t{1} << 20;

/// Why not all that was printed has arrived; empty when it has.
std::string findLoss() {
    const bool isLost = std::fflush(stdout) != 0 || std::ferror(stdout) != 0;
    const int error = errno;
    if (isLost)
        return zel::words(
            "{stream} cannot be written to: {reason}",
            {{"stream", zel::words("standard output")}, {"reason", std::generic_category().message(error)}});
    return drivetest::OutputQueue::standardFailure();
}

/// What the system does not give any more, such as memory or another thread, is no crash: what was begun is
/// put in order on the way here.
int runGuarded(int argc, char** argv) {
    try {
        return drivetest::runCommandLine(drivetest::programArguments(argc, argv));
    } catch (const std::bad_alloc&) {
        drivetest::complain(zel::words("the memory of this machine does not suffice"));
    } catch (const std::system_error& failure) {
        drivetest::complain(zel::words(
            "the system refuses what the program cannot do without: {reason}; test fewer drives at "
            "once, or raise the limits of threads and files",
            {{"reason", failure.code().message()}}));
    }
    return drivetest::kExitInternalError;
}

}  // namespace

int main(int argc, char** argv) {
    if (!drivetest::openClosedStreams())
        return drivetest::kExitCannotRun;
    drivetest::letWritesFail();
    // What is printed without a run is written at the end, where a failure is noticed.
    std::setvbuf(stdout, nullptr, _IOFBF, kMostPrinted);
    const int status = runGuarded(argc, argv);
    std::cout.flush();
    drivetest::OutputQueue::finishStandard();
    const std::string loss = findLoss();
    if (loss.empty())
        return status;
    drivetest::complain(zel::words("{reason}; what was printed is incomplete", {{"reason", loss}}));
    drivetest::OutputQueue::finishStandard();
    return status == drivetest::kExitPass ? drivetest::kExitInternalError : status;
}
