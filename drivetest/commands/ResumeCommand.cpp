#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "drivetest/ExitStatus.h"
#include "drivetest/commands/Commands.h"
#include "drivetest/resume/ResumeFolder.h"
#include "drivetest/resume/RunChains.h"
#include "drivetest/shelf/GivenDrives.h"
#include "drivetest/shelf/ResumedDrives.h"
#include "drivetest/shelf/RunOutcome.h"
#include "drivetest/shelf/Shelf.h"
#include "drivetest/shelf/kept/KeptShelves.h"
#include "drivetest/shelf/kept/ResumeList.h"
#include "drivetest/shelf/kept/ResumedWork.h"
#include "drivetest/shelf/kept/WorkFile.h"
#include "drivetest/terminal/Console.h"
#include "drivetest/terminal/Labels.h"
#include "drivetest/terminal/Terminal.h"
#include "drivetest/terminal/Texts.h"
#include "quix5/StopRequest.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

/// Each as a note, on the terminal that the runs then have for themselves.
void tell(const std::vector<std::string>& sentences, const RunOptions& options) {
    Console console(stdout, options.colours);
    for (const std::string& sentence : sentences)
        console.line(eventLabel(words("note:")) + sentence);
}

void print(const std::vector<std::string>& lines, const RunOptions& options) {
    Console console(stdout, options.colours);
    for (const std::string& line : lines)
        console.line(line);
}

/// What single runs left.
int resumeRecords(const ResumeOptions& options, const std::vector<std::string>& records) {
    if (options.list) {
        std::vector<std::string> lines;
        lines.reserve(records.size());
        for (const std::string& record : records)
            lines.push_back(words("{file} can be resumed", {{"file", printable(record)}}));
        print(lines, options.run);
        return kExitPass;
    }
    if (records.size() > 1 || wantsShelf(options.run))
        return runShelf(shelfWorkOf(options, records), {options.run.quiet, options.run.colours});
    // One alone may ask the user.
    RunOptions run = options.run;
    run.resume = records.front();
    return runTests(run);
}

int resumeShelf(const ResumeOptions& options, KeptShelf& shelf) {
    ShelfWork work = shelfWorkOf(shelf.work, shelf.states, options);
    tell(notesOn(shelf.work, shelf.states), options.run);
    if (options.list) {
        print(listOf(work, shelf.states), options.run);
        return std::ranges::all_of(work.drives, [](const DriveWork& each) { return each.refusal.empty(); })
                   ? kExitPass
                   : kExitWarn;
    }
    std::string problem;
    work.file = WorkFile::goOn(shelf.work, problem);
    if (work.file == nullptr) {
        complain(problem);
        return kExitCannotRun;
    }
    removeEmptyRecords(shelf.work);
    return runShelf(std::move(work), {options.run.quiet, options.run.colours});
}

}  // namespace

int resumeRuns(const ResumeOptions& options) {
    std::string error;
    const auto chains = RunChains::read(options.folder, error);
    if (!chains) {
        complain(error);
        return kExitUsage;
    }
    KeptShelves shelves = findKeptShelves(options.folder, *chains, options.run);
    if (!shelves.left.empty() && !options.run.shelf.folder.empty()) {
        error = words("{folder} is where its drives go on: leave out --out",
                      {{"folder", printable(options.folder)}});
        complain(error);
        return kExitUsage;
    }
    BrokenOffRuns runs = brokenOffAmong(*chains, shelves.records);
    runs.sentences.insert(runs.sentences.end(), shelves.sentences.begin(), shelves.sentences.end());
    tell(runs.sentences, options.run);
    if (runs.records.empty() && shelves.left.empty())
        print({words("no run of {folder} can be resumed", {{"folder", printable(options.folder)}})},
              options.run);
    // Somebody has to see to those that are left.
    std::vector<int> statuses{runs.sentences.empty() ? kExitPass : kExitCannotRun};
    for (KeptShelf& shelf : shelves.left)
        if (!quix5::StopRequest::made())
            statuses.push_back(resumeShelf(options, shelf));
    if (!runs.records.empty() && !quix5::StopRequest::made())
        statuses.push_back(resumeRecords(options, runs.records));
    return worstStatus(statuses);
}

}  // namespace drivetest
