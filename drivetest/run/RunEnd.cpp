#include "drivetest/run/RunEnd.h"

#include <string>

#include "drivetest/ExitStatus.h"
#include "drivetest/run/RunOutputs.h"
#include "drivetest/run/Setup.h"
#include "drivetest/run/Signals.h"
#include "drivetest/run/Summary.h"
#include "drivetest/terminal/Texts.h"
#include "libDrive2/DeviceOpeners.h"
#include "quix5/ParameterText.h"

namespace drivetest {

using quix5::TestResult;

namespace {

/// False when sectors were not put back.
bool settleJournal(PreparedRun& run, const RunHost& host, Console& console) {
    const WatchedJournal* const watched = run.journal.watched();
    if (run.record != nullptr && watched != nullptr && !watched->unrestored().empty())
        run.record->addUnrestored(watched->unrestored(), run.journal.path());
    const bool restored = run.journal.finish(run.device.osLocator().utf8(), console);
    // Without a watch there is only the test's word for it.
    const bool isDoubted = host.hasShown("cannotRestoreData");
    if (watched != nullptr && restored && isDoubted)
        console.line("         all sectors were compared: the drive holds all its data");
    return restored && (watched != nullptr || !isDoubted);
}

/// A drive that is slow beyond what the user allows.
TestResult judgeSlowness(const RunOptions& options, const TestResult& result, const RunHost& host,
                         Console& console) {
    const DriveStatistics* const statistics = host.statistics();
    if (options.slowMs == 0 || statistics == nullptr)
        return result;
    const std::uint64_t slow = statistics->slowTransfers().beyondLimit();
    if (slow <= options.slowAllowed)
        return result;
    console.line("warning: " + countText(slow, "transfer") + " took longer than " +
                 std::to_string(options.slowMs) + " ms, and " + std::to_string(options.slowAllowed) +
                 " may (--slow-ms, --slow-count)");
    TestResult judged = result;
    judged.merge(TestResult::WARN);
    return judged;
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

/// What the result alone does not say.
void explain(PreparedRun& run, const TestResult& result, const RunHost& host, Console& console) {
    const std::string reason = libDrive2::lastOpenErrorStr().utf8();
    if (run.obstacle && run.obstacle->isKnownToTest && exitStatusOf(result) == run.obstacle->status)
        console.line("         " + run.obstacle->reason + "; " + run.obstacle->advice);
    else if (result == TestResult::DEVICEBUSY && !run.held.failure().ok())
        console.line("         " + run.held.failure().text.utf8());
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
}

/// The exit status, worse than `status` when the record has a hole.
int closeRecord(const RunRecord& record, int status, Console& console) {
    if (!record.ok()) {
        complain(
            "the record " + record.path() + " is incomplete: " +
            (record.wasGivenUp() ? "nobody took what was left of it" : "it could not be written to the end"));
        return record.wasGivenUp() || status == kExitNotRestored ? status : kExitInternalError;
    }
    if (record.path() != "-")
        console.line("  record    " + record.path());
    return status;
}

/// Where all bad sectors are listed.
std::string listOf(const RunOptions& options, const PreparedRun& run) {
    if (!options.badListFile.empty())
        return options.badListFile;
    return run.record != nullptr ? "the record" : "";
}

}  // namespace

int endRun(const RunOptions& options, PreparedRun& run, const TestResult& result, const RunHost& host,
           Console& console) {
    const bool isDataMissing = !settleJournal(run, host, console);
    setAtStake(AtStake::nothing);
    explain(run, result, host, console);
    TestResult judged = judgeSlowness(options, result, host, console);
    if (isDataMissing)
        judged.merge(TestResult::FAIL);
    const DriveStatistics* const statistics = host.statistics();
    if (run.record != nullptr)
        run.record->end(judged, host.counts(), statistics);
    writeBadList(run, options.badListFile, statistics != nullptr ? &statistics->badSectors() : nullptr);
    printSummary(console, *run.test, run.device, {judged, isDataMissing, listOf(options, run)}, host);
    const int status = isDataMissing ? kExitNotRestored : exitStatusOf(judged);
    return run.record != nullptr ? closeRecord(*run.record, status, console) : status;
}

}  // namespace drivetest
