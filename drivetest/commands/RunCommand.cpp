#include "drivetest/ExitStatus.h"
#include "drivetest/commands/Commands.h"
#include "drivetest/devices/Drives.h"
#include "drivetest/run/HurryWatch.h"
#include "drivetest/run/RunHost.h"
#include "drivetest/run/Setup.h"
#include "drivetest/run/Signals.h"
#include "drivetest/run/StandardStreams.h"
#include "drivetest/run/Summary.h"
#include "drivetest/safety/ReadStart.h"
#include "drivetest/safety/RunJournal.h"
#include "drivetest/safety/SafeStart.h"
#include "drivetest/terminal/Terminal.h"
#include "libDrive2/DeviceOpeners.h"
#include "quix5/DiagModule.h"
#include "quix5/Library.h"
#include "quix5/ParameterText.h"
#include "quix5/Runner.h"
#include "quix5/StopRequest.h"
#include "zel/Resource.h"

namespace drivetest {

using quix5::TestResult;

namespace {

/// Everything that a run needs, checked before anything is touched.
struct PreparedRun {
    std::unique_ptr<quix5::Module> module;
    const quix5::OfferedTest* test = nullptr;
    quix5::DiagDevice device;
    HeldDrive held;                                     ///< of a test that writes; goes last
    std::unique_ptr<libDrive2::DeviceLease> readLease;  ///< of one that only reads; null where it got none
    bool writes = false;
    std::optional<Obstacle> obstacle;  ///< what the guard of tests that write will refuse
    RunJournal journal;
    OutputFile log;
    OutputFile events;
    std::shared_ptr<OutputQueue> logQueue;  ///< null without a log
    std::unique_ptr<RunRecord> record;      ///< null without one
};

bool isOptical(const quix5::OfferedTest& test) {
    return test.entry->needs == quix5::DeviceCapability::SCSIMMC;
}

bool openOutputs(const RunOptions& options, PreparedRun& run, std::string& error) {
    const OutputRules rules{guardDrive(options.device, options.journalFolder), options.replaceOutputs};
    if (!options.logFile.empty())
        run.log = openOutput("the log", options.logFile, rules, error);
    if (error.empty() && !options.eventsFile.empty())
        run.events = openOutput("the record", options.eventsFile, rules, error);
    if (error.empty() && run.log && run.events && isSameOutput(run.log, run.events))
        error = "the log and the record cannot both be written to " + options.eventsFile + ": name two files";
    return error.empty();
}

/// Nothing refuses the run any more: what the files held is gone from here on.
void startOutputs(const RunOptions& options, PreparedRun& run) {
    if (run.log)
        run.logQueue = OutputQueue::of(std::move(run.log));
    if (run.events)
        run.record = std::make_unique<RunRecord>(
            std::make_unique<RecordWriter>(options.eventsFile, std::move(run.events)));
}

bool prepare(const RunOptions& options, PreparedRun& run, std::string& error) {
    run.module = loadModule(options.moduleFile, error);
    if (run.module == nullptr)
        return false;
    run.test = findTest(*run.module, options.test, error);
    if (run.test == nullptr || !applyParameters(run.test->descriptor, options.parameters, error) ||
        !makeDevice(options.device, options.properties, run.device, error))
        return false;
    run.writes = writesToDrive(run.test->descriptor);
    return true;
}

/// Whether the test is offered and the drive lets itself be tested; gives the exit status and says why not.
ExitStatus checkDrive(const RunOptions& options, const PreparedRun& run) {
    if (!quix5::isOffered(run.test->descriptor, run.device)) {
        complain(options.test + " is not offered for " + options.device +
                 ": the device has a property that excludes it");
        return kExitCannotRun;
    }
    if (!run.device.hasCapability(run.test->entry->needs)) {
        std::string missing;
        complain(options.test + " tests optical drives, and " +
                 (isThere(options.device, missing)
                      ? options.device + " is none: \"drivetest devices\" lists the drives of this machine"
                      : missing));
        return kExitUsage;
    }
    if (flagProperty(run.device, kPropertyLocked)) {
        complain(options.device +
                 " is locked by its ATA password, so nothing on it can be read: unlock it first (hdparm "
                 "--security-unlock), then try again");
        return kExitCannotRun;
    }
    return kExitPass;
}

/// A test that reads keeps those that write away. A test that writes starts only when the user has confirmed
/// it for this drive, and when its journal is ready.
ExitStatus prepareDrive(const RunOptions& options, PreparedRun& run, Console& console) {
    if (!run.test->descriptor.isDestructive())
        return takeForReading(run.device, run.readLease, console);
    run.held.take(run.device);
    run.obstacle = findObstacle(run.device, run.held, options.allowUnexamined);
    if (!run.writes)
        return kExitPass;
    const ExitStatus confirmed = confirmWriting({run.test->descriptor, run.device, run.held, run.obstacle,
                                                 options.confirm, options.prompts && isTerminal(stdin)},
                                                console);
    if (confirmed != kExitPass || run.obstacle)
        return confirmed;
    // What an optical test writes replaces what the medium holds; there is nothing to put back.
    if (isOptical(*run.test))
        return kExitPass;
    return run.journal.prepare({run.device, run.held, options.journalFolder,
                                preservesData(run.test->descriptor), options.journal, options.verifyRestores},
                               console);
}

void warnOfMissingTexts() {
    const zel::String problem = zel::Resource::loadError(quix5::registeredLibrary());
    if (!problem.isEmpty())
        complain("the texts of the test module are missing, messages are shown as keys: " + problem.utf8());
}

std::vector<std::string> usersOf(libDrive2::DeviceLease& lease) {
    std::vector<std::string> users;
    for (const zel::String& user : lease.users())
        users.push_back(user.utf8());
    return users;
}

TestResult runPrepared(PreparedRun& run, RunHost& host, Console& console) {
    quix5::Host* const previousHost = quix5::DiagModule::install(&host);
    zel::LogSink* const previousSink = zel::LogFactory::setSink(&host);
    TestResult result;
    {
        const ProgressDisplay display(
            console, run.test->descriptor.name().utf8() + " " + run.device.osLocator().utf8(),
            [&host] { return host.snapshot(); });
        const HurryWatch hurry([&host] { host.giveUpAttempts(); });
        // What stood in the way may be gone by now, but nothing was prepared for writing.
        const bool writes = run.writes && !run.obstacle;
        const std::uint32_t access = libDrive2::kAccessRead | (writes ? libDrive2::kAccessWrite : 0);
        result = quix5::runTest(*run.test, run.device,
                                {access, libDrive2::kShareRead | libDrive2::kShareWrite}, host);
    }
    zel::LogFactory::setSink(previousSink);
    quix5::DiagModule::install(previousHost);
    const bool journalEndedIt = run.journal.watched() != nullptr && !run.journal.watched()->failure().empty();
    // Nobody asked for these stops.
    if (result == TestResult::USERABORTED && !OutputQueue::standardFailure().empty() &&
        !quix5::StopRequest::made())
        return TestResult::INTERNALERROR;
    if (result == TestResult::USERABORTED && host.isDisturbed() && !quix5::StopRequest::made())
        return TestResult::DEVICEBUSY;
    if (result == TestResult::USERABORTED && journalEndedIt && !quix5::StopRequest::made())
        return host.counts().errors > 0 ? TestResult::FAIL : TestResult::CANNOTRUN;
    return result;
}

/// Sectors that were not put back are worse than any verdict.
int finishJournal(PreparedRun& run, const TestResult& result, const RunHost& host, Console& console) {
    const WatchedJournal* const watched = run.journal.watched();
    if (run.record != nullptr && watched != nullptr && !watched->unrestored().empty())
        run.record->addUnrestored(watched->unrestored(), run.journal.path());
    const bool restored = run.journal.finish(run.device.osLocator().utf8(), console);
    // Without a watch there is only the test's word for it.
    const bool isDoubted = host.hasShown("cannotRestoreData");
    const bool isLost = watched == nullptr && isDoubted;
    if (watched != nullptr && restored && isDoubted)
        console.line("         all sectors were compared: the drive holds all its data");
    return restored && !isLost ? exitStatusOf(result) : kExitNotRestored;
}

/// To the person, who has seen the cause, and in the record, with it, as what kept the test from a verdict.
void tellProblem(PreparedRun& run, const char* symptom, const std::string& sentence, const std::string& cause,
                 Console& console) {
    console.line("         " + sentence);
    if (run.record != nullptr)
        run.record->addProblem(symptom, sentence + (cause.empty() ? "" : ": " + cause));
}

/// What is valid for the parameters in "NAME:VALUE, NAME:VALUE".
void describeParameters(const quix5::Test& test, const zel::String& refused, Console& console) {
    for (const zel::String& item : refused.tokenize(", "))
        if (const zel::Array<zel::String> name = item.tokenize(":");
            !name.isEmpty() && quix5::findParameter(test, name[0]) != nullptr)
            console.line("         " + name[0].utf8() + ": " + describeText("Parameter." + name[0].utf8()));
}

int finish(PreparedRun& run, const TestResult& result, const RunHost& host, Console& console) {
    const int status = finishJournal(run, result, host, console);
    setAtStake(AtStake::nothing);
    const std::string reason = libDrive2::lastOpenErrorStr().utf8();
    if (run.obstacle && run.obstacle->isKnownToTest && exitStatusOf(result) == run.obstacle->status)
        console.line("         " + run.obstacle->reason + "; " + run.obstacle->advice);
    else if (host.statistics() == nullptr && result == TestResult::CANNOTRUN && !reason.empty())
        tellProblem(run, "driveNotOpened", reason, {}, console);
    else if (result == TestResult::CANNOTRUN && !host.lossOfAccess().empty())
        tellProblem(run, "driveLost",
                    run.device.osLocator().utf8() +
                        " could be opened, and stopped taking commands while it was tested",
                    host.lossOfAccess(), console);
    else if (result == TestResult::BADPARAMS)
        describeParameters(run.test->descriptor, host.refusedValues(), console);
    else if (result == TestResult::INCORRECTMEDIA && isOptical(*run.test))
        console.line(
            run.writes
                ? "         it records on media that are neither closed nor write-protected, of kinds "
                  "that it can write"
                : "         it reads data from media of the kinds in MMCsupportedProfiles with at least "
                  "MinDataCapacity sectors");
    if (run.record != nullptr)
        run.record->end(result, host.counts(), host.statistics());
    printSummary(console, *run.test, run.device, result, host);
    if (run.record == nullptr)
        return status;
    if (!run.record->ok()) {
        complain("the record " + run.record->path() + " is incomplete: " +
                 (run.record->wasGivenUp() ? "nobody took what was left of it"
                                           : "it could not be written to the end"));
        return run.record->wasGivenUp() || status == kExitNotRestored ? status : kExitInternalError;
    }
    if (run.record->path() != "-")
        console.line("  record    " + run.record->path());
    return status;
}

}  // namespace

int runTests(const RunOptions& options) {
    stopOnSignals();
    chooseLanguage(options.language);
    PreparedRun run;
    std::string error;
    if (!checkStandardStreams(guardDrive(options.device, options.journalFolder), error)) {
        complain(error);
        return kExitUsage;
    }
    if (!prepare(options, run, error)) {
        complain(error);
        return kExitUsage;
    }
    if (const ExitStatus refused = checkDrive(options, run); refused != kExitPass)
        return refused;
    Console console(options.eventsFile == "-" ? stderr : stdout);
    if (const ExitStatus refused = prepareDrive(options, run, console); refused != kExitPass)
        return refused;
    // Only now: what an earlier run wrote is not replaced by nothing.
    if (!openOutputs(options, run, error)) {
        complain(error);
        return quix5::StopRequest::made() ? kExitUserAborted : kExitUsage;
    }
    startOutputs(options, run);
    warnOfMissingTexts();
    zel::LogFactory::setPriority(options.logPriority);
    zel::SkippingClock simulatedTime;
    if (options.device.starts_with("sim:"))
        zel::Clock::install(&simulatedTime);

    // Nobody could answer without a terminal.
    RunHost host(console, run.record.get(), run.logQueue.get(), options.prompts && isTerminal(stdin));
    host.setJournal(run.journal.watched());
    std::optional<UseWatch> watch;
    if (run.held.isHeld()) {
        host.setHeldDrive(&run.held);
        watch.emplace([&run] { return usersOf(run.held.lease()); });
        host.setUseWatch(&*watch);
    }
    if (run.record != nullptr)
        run.record->begin(run.test->descriptor, run.device, options.commandLine);
    if (const WatchedJournal* const watched = run.journal.watched(); watched != nullptr)
        setAtStake(watched->outlivesCrash() ? AtStake::journaledSectors : AtStake::unprotectedSectors);
    const TestResult result = runPrepared(run, host, console);
    const int status = finish(run, result, host, console);
    zel::Clock::install(nullptr);
    return status;
}

}  // namespace drivetest
