#include <cerrno>
#include <cstdio>
#include <iostream>
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

}  // namespace

int main(int argc, char** argv) {
    if (!drivetest::openClosedStreams())
        return drivetest::kExitCannotRun;
    drivetest::letWritesFail();
    // What is printed without a run is written at the end, where a failure is noticed.
    std::setvbuf(stdout, nullptr, _IOFBF, kMostPrinted);
    const int status = drivetest::runCommandLine(drivetest::programArguments(argc, argv));
    std::cout.flush();
    drivetest::OutputQueue::finishStandard();
    const std::string loss = findLoss();
    if (loss.empty())
        return status;
    drivetest::complain(zel::words("{reason}; what was printed is incomplete", {{"reason", loss}}));
    drivetest::OutputQueue::finishStandard();
    return status == drivetest::kExitPass ? drivetest::kExitInternalError : status;
}
