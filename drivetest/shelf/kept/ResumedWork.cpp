#include "drivetest/shelf/kept/ResumedWork.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

#include "drivetest/ExitStatus.h"
#include "drivetest/run/OutputFile.h"
#include "drivetest/run/Setup.h"
#include "drivetest/safety/SafeStart.h"
#include "drivetest/safety/SystemAdvice.h"
#include "drivetest/settings/TomlFile.h"
#include "drivetest/shelf/Confirmations.h"
#include "drivetest/shelf/ShelfDrive.h"
#include "drivetest/shelf/kept/FoundDrives.h"
#include "drivetest/terminal/Texts.h"
#include "libDrive2/DriveIdentity.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;
using Kind = RunState::Kind;
using States = std::vector<RunState>;

bool isLeft(const RunState& state) {
    return state.kind != Kind::done;
}

bool isAnyLeft(const States& states) {
    return std::ranges::any_of(states, isLeft);
}

/// Where the file has nothing, or this command line says it anew.
void takeGiven(const RunOptions& given, RunOptions& run) {
    run.verifyRestores = given.verifyRestores;
    if (!given.journalFolder.empty())
        run.journalFolder = given.journalFolder;
    if (given.saveProgress != RunOptions{}.saveProgress)
        run.saveProgress = given.saveProgress;
}

/// The record has the test, its parameters and its limits.
RunOptions goingOn(const RunOptions& kept, const std::string& record, const RunOptions& given) {
    RunOptions run = given;
    run.shelf = {};
    run.confirm.clear();
    run.resume = record;
    run.test = kept.test;
    run.grading = kept.grading;
    run.logPriority = kept.logPriority;
    run.journalFolder = kept.journalFolder;
    run.saveProgress = kept.saveProgress;
    takeGiven(given, run);
    return run;
}

void refuse(DriveWork& drive, const std::string& why, ExitStatus status = kExitCannotRun) {
    drive.refusal = why;
    drive.refusedAs = status;
}

/// As of a plan: a drive that may not be written to is not tested at all, where a test of it would write.
void confirm(DriveWork& drive, const States& states, const FoundDrive& found, const DriveWork& kept,
             Confirmations& confirmations) {
    const bool wasRefused = !kept.refusal.empty();
    std::optional<std::string> confirmation;
    for (std::size_t i = 0; i < drive.runs.size() && drive.refusal.empty(); ++i) {
        if (!isLeft(states[i]))
            continue;
        RunOptions asked = kept.runs[i];
        asked.device = found.locator;
        ExitStatus refused = kExitPass;
        std::string error;
        const auto chosen = chooseTest(asked, found.answer.device, refused, error);
        if (!chosen) {
            refuse(drive, error, refused);
            return;
        }
        if (!chosen->writes)
            continue;
        if (chosen->isOptical())
            drive.longestSilence = kLongestSilenceOfRecorders;
        const std::string wanted = confirmationOf(chosen->device);
        if (!confirmation)
            confirmation = confirmations.take(wanted);
        drive.runs[i].confirm = *confirmation;
        if (confirmation->empty())
            refuse(drive, words("{drive} would be written to: confirm that with --confirm {expected}",
                                {{"drive", found.locator}, {"expected", quoted(wanted)}}));
        else if (wasRefused && !found.answer.whyNotToWrite.empty())
            refuse(drive, found.answer.whyNotToWrite);
        else if (wasRefused && !found.answer.users.empty())
            refuse(drive, words("{reason}; {advice}", {{"reason", enumerated(found.answer.users)},
                                                       {"advice", adviceOnUsedDrive()}}));
    }
}

/// A drive that is taken for the one of the work by its place alone may be another one, so that nothing of
/// its tests counts.
void beginUnprovenAnew(const DriveWork& kept, const FoundDrive& found, States& states) {
    if (!kept.identity || !found.answer.identity ||
        libDrive2::isSameDrive(*kept.identity, *found.answer.identity))
        return;
    for (RunState& state : states)
        if (state.kind == Kind::resumed) {
            state.kind = Kind::anew;
            state.reason = words("nothing proves that {drive} is the drive of the run",
                                 {{"drive", printable(found.locator)}});
        }
}

DriveWork workOn(const KeptDrive& kept, const States& states, const RunOptions& given) {
    DriveWork drive = kept.work;
    drive.refusal.clear();
    for (std::size_t i = 0; i < states.size(); ++i) {
        drive.done.emplace_back(isLeft(states[i]) ? std::nullopt : std::optional(states[i].outcome));
        if (states[i].kind == Kind::resumed)
            drive.runs[i] = goingOn(drive.runs[i], states[i].record, given);
        else
            takeGiven(given, drive.runs[i]);
        if (states[i].kind == Kind::underWay)
            refuse(drive, words("{file} cannot be resumed: {reason}",
                                {{"file", printable(states[i].record)},
                                 {"reason", words("its run has not ended; wait for it, or stop it")}}));
    }
    return drive;
}

}  // namespace

bool isAnythingLeft(const std::vector<std::vector<RunState>>& states) {
    return std::ranges::any_of(states, isAnyLeft);
}

void removeEmptyRecords(const KeptWork& kept) {
    for (const KeptDrive& drive : kept.drives)
        for (const KeptRun& run : drive.runs)
            for (const std::string& name : run.records) {
                const auto path = zel::pathOf(kept.file).parent_path() / zel::pathOf(name);
                std::error_code unknown;
                if (std::filesystem::file_size(path, unknown) == 0 && !unknown &&
                    !isBeingWritten(zel::textOf(path)))
                    std::filesystem::remove(path, unknown);
            }
}

std::vector<std::string> notesOn(const KeptWork& kept, const std::vector<std::vector<RunState>>& states) {
    std::vector<std::string> notes;
    for (std::size_t i = 0; i < states.size(); ++i)
        for (std::size_t k = 0; k < states[i].size(); ++k) {
            const RunState& state = states[i][k];
            if (state.kind != Kind::anew)
                continue;
            notes.push_back(
                words("{test} on {drive} came to no verdict and saved no progress: it begins anew",
                      {{"test", labelOf(kept.drives[i].work.runs[k])}, {"drive", kept.drives[i].work.name}}));
            if (!state.reason.empty())
                notes.back() = words("{test} on {drive} came to no verdict, and begins anew: {reason}",
                                     {{"test", labelOf(kept.drives[i].work.runs[k])},
                                      {"drive", kept.drives[i].work.name},
                                      {"reason", state.reason}});
        }
    return notes;
}

ShelfWork shelfWorkOf(const KeptWork& kept, std::vector<std::vector<RunState>>& states,
                      const ResumeOptions& options) {
    ShelfWork work;
    work.jobs = options.run.shelf.jobs.value_or(kept.jobs);
    work.hangSeconds = options.run.shelf.hangSeconds ? options.run.shelf.hangSeconds : kept.hangSeconds;
    work.folder = options.folder;
    work.commandLine = kept.commandLine;
    std::vector<const DriveWork*> wanted;
    for (std::size_t i = 0; i < states.size(); ++i)
        if (isAnyLeft(states[i]))
            wanted.push_back(&kept.drives[i].work);
    const std::vector<FoundDrive> found = findAgain(wanted);
    Confirmations confirmations(options.run);
    std::size_t next = 0;
    for (std::size_t i = 0; i < states.size(); ++i) {
        if (!isAnyLeft(states[i])) {
            work.drives.push_back(workOn(kept.drives[i], states[i], options.run));
            continue;
        }
        const FoundDrive& there = found[next++];
        beginUnprovenAnew(kept.drives[i].work, there, states[i]);
        DriveWork& drive = work.drives.emplace_back(workOn(kept.drives[i], states[i], options.run));
        if (drive.refusal.empty() && !there.refusal.empty())
            refuse(drive, there.refusal, there.refusedAs);
        drive.device = there.locator;
        for (RunOptions& run : drive.runs) {
            run.device = there.locator;
            run.identity = lastingIdentity(there.answer.identity);
        }
        if (drive.refusal.empty())
            confirm(drive, states[i], there, kept.drives[i].work, confirmations);
    }
    return work;
}

}  // namespace drivetest
