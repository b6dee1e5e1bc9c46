#include "drivetest/shelf/kept/WorkState.h"

#include <algorithm>
#include <utility>

#include "drivetest/ExitStatus.h"
#include "drivetest/resume/ResumeFile.h"
#include "drivetest/run/OutputFile.h"
#include "drivetest/shelf/RecordedOutcome.h"
#include "drivetest/shelf/ShelfDrive.h"
#include "quix5/TestResult.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using Kind = RunState::Kind;
using States = std::vector<RunState>;

bool isVerdict(int status) {
    return status == kExitPass || status == kExitWarn || status == kExitFail;
}

std::string beside(const std::string& file, const std::string& name) {
    return zel::textOf(zel::pathOf(file).parent_path() / zel::pathOf(name));
}

RunFiles filesOf(const std::string& record) {
    const auto with = [&record](const char* end) {
        return zel::textOf(zel::pathOf(record).replace_extension(end));
    };
    return {record, with(".log"), with(".html")};
}

/// As a run ends that has this record.
int statusOf(const std::string& result) {
    for (const auto code : {quix5::TestResult::PASS, quix5::TestResult::WARN, quix5::TestResult::FAIL})
        if (result == quix5::TestResult(code).name())
            return exitStatusOf(quix5::TestResult(code));
    return kExitInternalError;
}

/// What is known of a run that has a verdict. Its process may have come to another end than its record.
RunState doneWith(const KeptRun& run, const std::string& record, const std::string& file) {
    RunState state{Kind::done};
    const bool isKnown = run.outcome && !run.records.empty() &&
                         zel::textOf(zel::pathOf(record).filename()) == run.records.back();
    if (isKnown)
        state.outcome = *run.outcome;
    state.outcome.files = filesOf(record.empty() ? beside(file, run.records.back()) : record);
    readRecorded(state.outcome);
    if (isKnown)
        return state;
    state.outcome.end = RunEnd::byItself;
    state.outcome.status = statusOf(state.outcome.result);
    return state;
}

/// Of a run without a verdict: from the chain that was begun last and proves something.
RunState brokenOff(const KeptRun& run, const std::string& file, const RunChains& chains) {
    RunState state{run.records.empty() ? Kind::fresh : Kind::anew};
    for (const std::string& name : run.records)
        if (isBeingWritten(beside(file, name))) {
            state.kind = Kind::underWay;
            state.record = beside(file, name);
            return state;
        }
    for (auto name = run.records.rbegin(); name != run.records.rend(); ++name) {
        const RunChain* const chain = chains.of(*name);
        if (chain == nullptr || chain->proven == 0)
            continue;
        if (const auto resumed = readResumed(chain->record, state.reason); resumed != nullptr) {
            state.kind = Kind::resumed;
            state.record = chain->record;
            state.sectorsDone = resumed->sectorsDone;
            state.sectors = resumed->run.drive.sectors;
            return state;
        }
    }
    return state;
}

RunState stateOf(const KeptRun& run, const std::string& file, const RunChains& chains) {
    for (auto name = run.records.rbegin(); name != run.records.rend(); ++name)
        if (const RunChain* const chain = chains.of(*name); chain != nullptr && !chain->verdict.empty())
            return doneWith(run, chain->verdict, file);
    const bool isTold = run.outcome && run.outcome->end == RunEnd::byItself && isVerdict(run.outcome->status);
    if (isTold && !run.records.empty())  // somebody took its record away, or it could not be written
        return doneWith(run, beside(file, run.records.back()), file);
    return brokenOff(run, file, chains);
}

/// Whether it is the test or the drive that failed, and no stop or cut from outside.
bool isFailureForGood(const KeptRun& run, const RunState& state) {
    const RunOutcome* const outcome = state.kind == Kind::done ? &state.outcome
                                      : run.outcome            ? &*run.outcome
                                                               : nullptr;
    return outcome != nullptr && isFailure(*outcome) && outcome->end != RunEnd::killed &&
           outcome->end != RunEnd::notStarted && outcome->status != kExitUserAborted;
}

/// What is left of a drive is not run any more; what of it broke off has a record all the same.
void leaveOut(States& states, std::size_t from, const std::string& why, int status, const DriveWork& work) {
    for (std::size_t i = from; i < states.size(); ++i) {
        RunState& state = states[i];
        if (state.kind == Kind::done)
            continue;
        RunOutcome outcome;
        outcome.status = status;
        outcome.test = labelOf(work.runs[i]);
        outcome.words = why;
        if (!state.record.empty()) {
            outcome.files = filesOf(state.record);
            readRecorded(outcome);
        }
        state = {Kind::done, std::move(outcome)};
    }
}

/// The first run whose failure holds back what is behind it; their number for none.
std::size_t failedRun(const KeptDrive& drive, const States& states) {
    std::size_t i = 0;
    while (i < states.size() && !(drive.work.onFailure == OnFailure::stopAll
                                      ? isFailureForGood(drive.runs[i], states[i])
                                      : states[i].kind == Kind::done && isFailure(states[i].outcome)))
        ++i;
    return drive.work.onFailure == OnFailure::goOn ? states.size() : i;
}

/// Of a drive whose failure has stopped all: what failed without a verdict stays as it was.
void keepFailure(const KeptRun& run, RunState& state, const std::string& file) {
    if (state.kind == Kind::done)
        return;
    RunOutcome outcome = run.outcome.value_or(RunOutcome{});
    if (!run.records.empty()) {
        outcome.files = filesOf(beside(file, run.records.back()));
        readRecorded(outcome);
    }
    state = {Kind::done, std::move(outcome)};
}

}  // namespace

std::vector<std::vector<RunState>> statesOf(const KeptWork& work, const RunChains& chains) {
    std::vector<States> all;
    std::string whoStopsAll;
    for (const KeptDrive& drive : work.drives) {
        States& states = all.emplace_back();
        for (const KeptRun& run : drive.runs)
            states.push_back(stateOf(run, work.file, chains));
        const std::size_t failed = failedRun(drive, states);
        if (failed == states.size())
            continue;
        if (drive.work.onFailure == OnFailure::stopAll) {
            keepFailure(drive.runs[failed], states[failed], work.file);
            whoStopsAll = drive.work.name;
        }
        leaveOut(states, failed + 1, zel::words("the run before it failed"), states[failed].outcome.status,
                 drive.work);
    }
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (!whoStopsAll.empty())
            leaveOut(all[i], 0, zel::words("{drive} failed", {{"drive", whoStopsAll}}), kExitUserAborted,
                     work.drives[i].work);
        for (std::size_t k = 0; k < all[i].size(); ++k)
            all[i][k].outcome.run = k;
    }
    return all;
}

}  // namespace drivetest
