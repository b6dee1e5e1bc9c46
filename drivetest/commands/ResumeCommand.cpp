#include "drivetest/ExitStatus.h"
#include "drivetest/commands/Commands.h"
#include "drivetest/resume/ResumeFolder.h"
#include "drivetest/shelf/RunOutcome.h"
#include "drivetest/terminal/Console.h"
#include "drivetest/terminal/Labels.h"
#include "drivetest/terminal/Terminal.h"
#include "drivetest/terminal/Texts.h"
#include "quix5/StopRequest.h"
#include "zel/Words.h"

namespace drivetest {

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
    // Somebody has to see to those that are left.
    int status = runs.sentences.empty() ? kExitPass : kExitCannotRun;
    for (const std::string& record : runs.records) {
        if (quix5::StopRequest::made())
            return worstStatus({status, kExitUserAborted});
        RunOptions run = options.run;
        run.resume = record;
        status = worstStatus({status, runTests(run)});
    }
    return status;
}

}  // namespace drivetest
