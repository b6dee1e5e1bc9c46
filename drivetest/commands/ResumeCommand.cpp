#include "drivetest/ExitStatus.h"
#include "drivetest/commands/Commands.h"
#include "drivetest/resume/ResumeFolder.h"
#include "drivetest/shelf/GivenDrives.h"
#include "drivetest/shelf/ResumedDrives.h"
#include "drivetest/shelf/RunOutcome.h"
#include "drivetest/shelf/Shelf.h"
#include "drivetest/terminal/Console.h"
#include "drivetest/terminal/Labels.h"
#include "drivetest/terminal/Terminal.h"
#include "drivetest/terminal/Texts.h"
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
    const int status = runs.sentences.empty() ? kExitPass : kExitCannotRun;
    if (runs.records.empty())
        return status;
    if (runs.records.size() > 1 || wantsShelf(options.run))
        return worstStatus(
            {status, runShelf(shelfWorkOf(options, runs.records), {options.run.quiet, options.run.colours})});
    // One alone may ask the user.
    RunOptions run = options.run;
    run.resume = runs.records.front();
    return worstStatus({status, runTests(run)});
}

}  // namespace drivetest
