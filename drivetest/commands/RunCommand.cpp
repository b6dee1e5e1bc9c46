#include "drivetest/ExitStatus.h"
#include "drivetest/commands/Commands.h"
#include "drivetest/devices/Drives.h"
#include "drivetest/run/HurryWatch.h"
#include "drivetest/run/PreparedRun.h"
#include "drivetest/run/RunEnd.h"
#include "drivetest/run/RunHost.h"
#include "drivetest/run/RunOutputs.h"
#include "drivetest/run/Setup.h"
#include "drivetest/run/Signals.h"
#include "drivetest/run/StandardStreams.h"
#include "drivetest/safety/ReadStart.h"
#include "drivetest/safety/SafeStart.h"
#include "drivetest/terminal/Terminal.h"
#include "libDrive2/DeviceDescription.h"
#include "libDrive2/DeviceOpeners.h"
#include "quix5/DiagModule.h"
#include "quix5/ParameterText.h"
#include "quix5/Runner.h"
#include "quix5/StopRequest.h"
#include "zel/Resource.h"

namespace drivetest {

using quix5::TestResult;

namespace {

bool prepare(const RunOptions& options, PreparedRun& run, std::string& error) {
    run.module = loadModule(options.moduleFile, error);
    if (run.module == nullptr)
        return false;
    run.test = findTest(*run.module, options.test, error);
    if (run.test == nullptr || !applyParameters(run.test->descriptor, options.parameters, error) ||
        !makeDevice(options.device, options.properties, run.device, error))
        return false;
    run.writes = writesToDrive(*run.test);
    return true;
}

/// Whether the test is offered and the drive lets itself be tested; gives the exit status and says why not.
ExitStatus checkDrive(const RunOptions& options, const PreparedRun& run) {
    if (!quix5::isOffered(run.test->descriptor, run.device)) {
        complain(options.test + " is not offered for " + options.device +
                 ": the device has a property that excludes it");
        return kExitCannotRun;
    }
    if (!run.device.hasCapability(run.test->entry->traits.needs)) {
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
    const ExitStatus confirmed = confirmWriting({*run.test, run.device, run.held, run.obstacle,
                                                 options.confirm, options.prompts && isTerminal(stdin)},
                                                console);
    if (confirmed != kExitPass || run.obstacle)
        return confirmed;
    // What an optical test writes replaces what the medium holds; there is nothing to put back.
    if (isOptical(*run.test))
        return kExitPass;
    return run.journal.prepare({run.device, run.held, options.journalFolder, preservesData(*run.test),
                                options.journal, options.verifyRestores},
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
    if (result == TestResult::USERABORTED && OutputQueue::hasStandardFailed() && !quix5::StopRequest::made())
        return TestResult::INTERNALERROR;
    if (result == TestResult::USERABORTED && host.isDisturbed() && !quix5::StopRequest::made())
        return TestResult::DEVICEBUSY;
    if (result == TestResult::USERABORTED && journalEndedIt && !quix5::StopRequest::made())
        return host.counts().errors > 0 ? TestResult::FAIL : TestResult::CANNOTRUN;
    return result;
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
    Console console(options.outputOf(kRecordOption) == "-" ? stderr : stdout);
    if (const ExitStatus refused = prepareDrive(options, run, console); refused != kExitPass)
        return refused;
    // Only now: what an earlier run wrote is not replaced by nothing.
    if (!openOutputs(options, run, error)) {
        complain(error);
        return quix5::StopRequest::made() ? kExitUserAborted : kExitUsage;
    }
    startOutputs(options, run, console);
    warnOfMissingTexts();
    zel::LogFactory::setPriority(options.logPriority);
    zel::SkippingClock simulatedTime;
    if (libDrive2::isSimulated(options.device))
        zel::Clock::install(&simulatedTime);

    // Nobody could answer without a terminal; and what was confirmed is the drive with the medium that it
    // had.
    const bool mayPrompt = options.prompts && isTerminal(stdin) && (!run.writes || isOptical(*run.test));
    RunHost host(console, run.reporters, mayPrompt);
    host.setJournal(run.journal.watched());
    if (options.slowMs != 0)
        host.setSlowLimit(std::chrono::milliseconds(options.slowMs));
    std::optional<UseWatch> watch;
    if (run.held.isHeld()) {
        host.setHeldDrive(&run.held);
        watch.emplace([&run] { return usersOf(run.held.lease()); });
        host.setUseWatch(&*watch);
    }
    run.reporters.begin({run.test->descriptor, run.device, options.commandLine});
    if (const WatchedJournal* const watched = run.journal.watched(); watched != nullptr)
        setAtStake(watched->outlivesCrash() ? AtStake::journaledSectors : AtStake::unprotectedSectors);
    const TestResult result = runPrepared(run, host, console);
    const int status = endRun(options, run, result, host, console);
    zel::Clock::install(nullptr);
    return status;
}

}  // namespace drivetest
