#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "drivetest/commands/Commands.h"
#include "drivetest/grade/Grading.h"
#include "drivetest/resume/ResumeStart.h"
#include "drivetest/resume/ResumedRun.h"
#include "drivetest/run/DataGuard.h"
#include "drivetest/run/LastWords.h"
#include "drivetest/run/Signals.h"
#include "drivetest/run/StandardStreams.h"
#include "drivetest/run/TestRun.h"
#include "drivetest/safety/SafeStart.h"
#include "drivetest/shelf/DriveInquiry.h"
#include "drivetest/shelf/GivenDrives.h"
#include "drivetest/shelf/ReportPipe.h"
#include "drivetest/shelf/Shelf.h"
#include "drivetest/shelf/ShelfLink.h"
#include "drivetest/terminal/Labels.h"
#include "drivetest/terminal/Terminal.h"
#include "drivetest/terminal/Texts.h"
#include "libDrive2/DeviceDescription.h"
#include "quix5/Module.h"
#include "quix5/StopRequest.h"
#include "zel/Clock.h"
#include "zel/Resource.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

void warnOfMissingTexts() {
    const zel::String problem = zel::Resource::loadError(quix5::registeredLibrary());
    if (!problem.isEmpty())
        complain(zel::words("the texts of the test module are missing, messages are shown as keys: {reason}",
                            {{"reason", problem}}));
}

void tellOfResume(const RunOptions& options, Console& console) {
    const ResumedRun& resumed = *options.resumed;
    console.line(eventLabel(words("info:")) +
                 words("{test} on {device} goes on behind {n} sectors that {file} proves",
                       {{"test", resumed.run.test},
                        {"device", printable(options.device)},
                        {"n", resumed.sectorsDone},
                        {"file", printable(options.resume)}}));
    if (resumed.damaged != 0)
        console.line(
            eventLabel(words("warning:")) +
            words("{file} is damaged from line {line} on: what was tested after that is tested again",
                  {{"file", printable(options.resume)}, {"line", resumed.damaged}}));
}

/// False after a sentence that says why not.
bool openLink(const RunOptions& options, std::unique_ptr<ShelfLink>& link) {
    if (options.progressTo < 0)
        return true;
    auto pipe = ReportPipe::adopt(options.progressTo);
    if (pipe == nullptr) {
        complain(zel::words("there is no pipe that --progress-to could mean"));
        return false;
    }
    link = std::make_unique<ShelfLink>(std::move(pipe));
    return true;
}

/// Some drives keep for ever whoever opens them: that is found out by a process which nobody has to wait for.
/// kExitPass, or after a sentence how the run ends.
ExitStatus askWhetherItAnswers(const RunOptions& options) {
    // Of a drive among several that was asked already.
    if (options.progressTo >= 0 || libDrive2::isSimulated(options.device))
        return kExitPass;
    const DriveAnswer answer = askDrives({{options.device}}).front();
    if (!answer.isSilent)
        return kExitPass;
    complain(answer.problem);
    return quix5::StopRequest::made() ? kExitUserAborted : kExitTimedOut;
}

/// Of several, which are for all runs of a folder that are gone on with, the one that is of this drive.
void chooseConfirmation(RunOptions& options, const quix5::DiagDevice& device) {
    const std::string wanted = confirmationOf(device);
    if (std::ranges::find(options.shelf.moreConfirmed, wanted) != options.shelf.moreConfirmed.end())
        options.confirm = wanted;
}

int runOnShelf(const RunOptions& options) {
    std::string error;
    auto work = shelfWorkOf(options, error);
    if (work)
        return runShelf(*std::move(work), {options.quiet, options.colours});
    complain(error);
    return kExitUsage;
}

}  // namespace

int runTests(const RunOptions& given) {
    if (wantsShelf(given))
        return runOnShelf(given);
    translateLastWords();
    stopOnSignals();
    std::string error;
    ExitStatus refused = kExitUsage;
    RunOptions options = given;
    if (!options.resume.empty() && !takeUp(options, error)) {
        complain(error);
        return kExitUsage;
    }
    if (const ExitStatus silent = askWhetherItAnswers(options); silent != kExitPass)
        return silent;
    std::unique_ptr<ShelfLink> link;
    if (!openLink(options, link))
        return kExitUsage;
    if (!options.shelf.moreConfirmed.empty() && options.resume.empty()) {
        complain(zel::words("--confirm is given more than once, and there is one drive"));
        return kExitUsage;
    }
    if (!checkStandardStreams(guardDrive(options.device, options.journalFolder), error)) {
        complain(error);
        return kExitUsage;
    }
    std::optional<Grading> grading;
    if (options.grading != kNoGrading)
        grading = Grading::load(options.grading, error);
    if (options.grading != kNoGrading && !grading) {
        complain(error);
        return kExitUsage;
    }
    std::optional<ChosenTest> chosen = chooseTest(options, refused);
    if (!chosen)
        return refused;
    chooseConfirmation(options, chosen->device);
    Console console(options.outputOf(kRecordOption) == "-" ? stderr : stdout, options.colours);
    const auto drive = TakenDrive::take(*chosen, options, console, refused);
    if (drive == nullptr)
        return refused;
    // Only now: what an earlier run wrote is not replaced by nothing.
    const auto outputs = RunOutputs::open(options, *drive, std::move(grading), console, error);
    if (outputs == nullptr) {
        complain(error);
        return quix5::StopRequest::made() ? kExitUserAborted : kExitUsage;
    }
    warnOfMissingTexts();
    if (options.resumed != nullptr)
        tellOfResume(options, console);
    zel::LogFactory::setPriority(options.logPriority);
    zel::SkippingClock simulatedTime;
    if (libDrive2::skipsTime(options.device))
        zel::Clock::install(&simulatedTime);
    TestRun run(options, *drive, *outputs, console);
    run.setLink(link.get());
    const int status = run.execute();
    zel::Clock::install(nullptr);
    return status;
}

}  // namespace drivetest
