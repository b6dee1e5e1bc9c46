#include <algorithm>
#include <array>

#include "drivetest/ExitStatus.h"
#include "drivetest/commands/Commands.h"
#include "drivetest/resume/ResumeFolder.h"
#include "drivetest/terminal/Console.h"
#include "drivetest/terminal/Labels.h"
#include "drivetest/terminal/Terminal.h"
#include "drivetest/terminal/Texts.h"
#include "quix5/StopRequest.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

/// From what is least to worry about to what is most.
constexpr std::array<int, 11> kByWeight{kExitPass,      kExitWarn,          kExitMedia,      kExitBusy,
                                        kExitCannotRun, kExitUsage,         kExitTimedOut,   kExitUserAborted,
                                        kExitFail,      kExitInternalError, kExitNotRestored};

int worse(int a, int b) {
    const auto weight = [](int status) { return std::ranges::find(kByWeight, status); };
    return weight(a) < weight(b) ? b : a;
}

}  // namespace

int resumeRuns(const ResumeOptions& options) {
    BrokenOffRuns runs;
    std::string error;
    if (!findBrokenOff(options.folder, runs, error)) {
        complain(error);
        return kExitUsage;
    }
    {
        Console console(stdout, options.run.colours);
        for (const std::string& sentence : runs.sentences)
            console.line(eventLabel(zel::words("note:")) + sentence);
        if (runs.records.empty())
            console.line(
                zel::words("no run of {folder} can be resumed", {{"folder", printable(options.folder)}}));
    }
    int status = kExitPass;
    for (const std::string& record : runs.records) {
        if (quix5::StopRequest::made())
            return worse(status, kExitUserAborted);
        RunOptions run = options.run;
        run.resume = record;
        status = worse(status, runTests(run));
    }
    return status;
}

}  // namespace drivetest
