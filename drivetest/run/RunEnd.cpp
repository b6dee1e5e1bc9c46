#include "drivetest/run/RunEnd.h"

#include <algorithm>
#include <string>

#include "drivetest/ExitStatus.h"
#include "drivetest/run/RunOutputs.h"
#include "drivetest/run/Setup.h"
#include "drivetest/run/Signals.h"
#include "drivetest/terminal/Texts.h"
#include "libDrive2/DeviceOpeners.h"
#include "quix5/ParameterText.h"

namespace drivetest {

using quix5::TestResult;

namespace {

/// False when sectors were not put back.
bool settleJournal(PreparedRun& run, Console& console) {
    const WatchedJournal* const watched = run.journal.watched();
    if (watched != nullptr && !watched->unrestored().empty())
        run.reporters.unrestored(watched->unrestored(), run.journal.path());
    return run.journal.finish(run.device.osLocator().utf8(), console);
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
        run.reporters.runError({nullptr, "driveNotOpened", reason, {}, {}, {}});
    else if (result == TestResult::CANNOTRUN && !host.lossOfAccess().empty())
        run.reporters.runError({nullptr,
                                "driveLost",
                                run.device.osLocator().utf8() +
                                    " could be opened, and stopped taking commands while it was tested",
                                host.lossOfAccess(),
                                {},
                                {}});
    else if (result == TestResult::BADPARAMS)
        describeParameters(run.test->descriptor, host.refusedValues(), console);
    else if (result == TestResult::INCORRECTMEDIA && run.test->entry->traits.mediaText != nullptr)
        console.line("         " + describeText(run.test->entry->traits.mediaText));
}

/// The exit status, worse than `status` when the record has a hole.
int closeOutputs(const PreparedRun& run, int status, Console& console) {
    for (std::size_t i = 0; i < run.outputs.size(); ++i) {
        const OutputFormat& format = *run.outputs[i].format;
        const bool isRecord = format.option == kRecordOption;
        const ReportState state = run.reporters.all()[i]->state();
        if (!state.isComplete) {
            complain(std::string(format.what) + " " + state.path + " is incomplete: " +
                     (state.wasGivenUp ? "nobody took what was left of it"
                                       : "it could not be written to the end"));
            if (isRecord && !state.wasGivenUp && status != kExitNotRestored)
                status = kExitInternalError;
        } else if (isRecord && state.path != "-") {
            console.line("  record    " + state.path);
        }
    }
    return status;
}

/// Where all bad sectors are listed.
std::string listOf(const RunOptions& options, const PreparedRun& run) {
    const std::string list = options.outputOf(kBadListOption);
    const bool hasRecord = std::any_of(run.outputs.begin(), run.outputs.end(), [](const NamedOutput& output) {
        return output.format->option == kRecordOption;
    });
    return !list.empty() ? list : hasRecord ? "the record" : "";
}

}  // namespace

int endRun(const RunOptions& options, PreparedRun& run, const TestResult& result, const RunHost& host,
           Console& console) {
    const bool isDataMissing = !settleJournal(run, console);
    setAtStake(AtStake::nothing);
    explain(run, result, host, console);
    TestResult judged = judgeSlowness(options, result, host, console);
    if (isDataMissing)
        judged.merge(TestResult::FAIL);
    run.reporters.end({judged, host.counts(), host.statistics(), isDataMissing, listOf(options, run)});
    return closeOutputs(run, isDataMissing ? kExitNotRestored : exitStatusOf(judged), console);
}

}  // namespace drivetest
