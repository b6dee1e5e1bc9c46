#include "drivetest/CommandLine.h"
#include "drivetest/ExitStatus.h"
#include "drivetest/run/OutputQueue.h"
#include "drivetest/run/StandardStreams.h"

int main(int argc, char** argv) {
    if (!drivetest::openClosedStreams())
        return drivetest::kExitCannotRun;
    const int status = drivetest::runCommandLine(argc, argv);
    drivetest::OutputQueue::finishStandard();
    return status;
}
