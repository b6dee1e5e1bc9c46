#include <algorithm>
#include <array>
#include <iostream>
#include <limits>
#include <memory>
#include <numeric>
#include <tuple>
#include <utility>

#include "drivetest/ExitStatus.h"
#include "drivetest/commands/Commands.h"
#include "drivetest/devices/Drives.h"
#include "drivetest/plan/BuiltInPlans.h"
#include "drivetest/plan/PlanTime.h"
#include "drivetest/plan/ResolvedPlan.h"
#include "drivetest/safety/SafeStart.h"
#include "drivetest/shelf/Shelf.h"
#include "drivetest/terminal/Columns.h"
#include "drivetest/terminal/Console.h"
#include "drivetest/terminal/Terminal.h"
#include "drivetest/terminal/Texts.h"
#include "quix5/DeviceInventory.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

constexpr std::size_t kGap = 2;

/// Drive, size, test, runs, time, what it writes.
using Row = std::array<std::string, 6>;

std::string whatIsWritten(const CheckedTest& test) {
    if (!test.writes)
        return words("nothing");
    return test.preserves ? words("writes, and puts everything back")
                          : words("writes: WHAT IT HOLDS WILL BE LOST");
}

std::string nameOf(const DriveWork& work) {
    return work.name == work.device ? work.name : work.name + " (" + work.device + ")";
}

void addRows(const ResolvedPlan& plan, std::size_t index, std::vector<Row>& rows) {
    const DriveWork& work = plan.work.drives[index];
    const ResolvedPlan::Drive& drive = plan.drives[index];
    std::string name = nameOf(work);
    std::string size = sizeText(numberProperty(drive.found.device, quix5::kPropertyBytes));
    if (!work.refusal.empty()) {
        rows.push_back({name, size, words("refused, see below"), "", "", ""});
        return;
    }
    for (const ResolvedPlan::Test& test : drive.tests) {
        const auto time = timeOf(test, drive.found.device);
        rows.push_back({name, size, test.checked->test->descriptor.name().utf8(),
                        std::to_string(test.checked->planned->repeats * plan.plan.repeats),
                        time ? timeText(*time) : words("not known"), whatIsWritten(*test.checked)});
        name.clear();
        size.clear();
    }
}

/// Whole words in each line of a terminal.
void say(const std::string& text) {
    const std::size_t columns =
        isTerminal(stdout) ? terminalSize(stdout).columns : std::numeric_limits<std::size_t>::max();
    for (const std::string& line : folded(printable(text), columns))
        std::cout << line << '\n';
}

using Widths = std::array<std::size_t, std::tuple_size_v<Row> - 1>;

/// From this column on; the last one is not padded.
std::string lineOf(const Row& row, const Widths& widths, std::size_t first) {
    std::string line;
    for (std::size_t i = first; i < widths.size(); ++i)
        line += padded(row[i], widths[i]);
    line += row.back();
    return line.substr(0, line.find_last_not_of(' ') + 1);
}

/// In a terminal without room for it, each drive has a line above those of its tests.
void printTable(const ResolvedPlan& plan) {
    std::vector<Row> rows{{words("DRIVE"), words("SIZE"), words("TEST"), words("RUNS"),
                           words("TIME FOR EACH"), words("WRITES")}};
    for (std::size_t i = 0; i < plan.drives.size(); ++i)
        addRows(plan, i, rows);
    Widths widths{};
    std::size_t longest = 0;
    for (Row& row : rows)
        for (std::size_t i = 0; i < row.size(); ++i) {
            row[i] = printable(row[i]);
            const std::size_t width = columnsOf(row[i]);
            if (i < widths.size())
                widths[i] = std::max(widths[i], width + kGap);
            else
                longest = std::max(longest, width);
        }
    const bool hasRoom = !isTerminal(stdout) || std::accumulate(widths.begin(), widths.end(), longest) <=
                                                    terminalSize(stdout).columns;
    for (const Row& row : rows) {
        if (!hasRoom && !row[0].empty())
            std::cout << row[0] << std::string(kGap, ' ') << row[1] << '\n';
        std::cout << (hasRoom ? "" : std::string(kGap, ' ')) << lineOf(row, widths, hasRoom ? 0 : 2) << '\n';
    }
}

/// Whatever is to be said of single drives, each a line.
std::vector<std::string> notesOn(const ResolvedPlan& plan) {
    std::vector<std::string> notes;
    for (std::size_t i = 0; i < plan.drives.size(); ++i) {
        const DriveWork& work = plan.work.drives[i];
        if (!work.refusal.empty())
            notes.push_back(words("refused: {reason}", {{"reason", work.refusal}}));
        else
            for (const std::string& user : plan.drives[i].found.users)
                notes.push_back(
                    words("{user}; reading does no harm, but rates may be lower", {{"user", user}}));
    }
    for (const TomlText& confirmed : plan.plan.confirmed)
        if (std::ranges::none_of(plan.drives, [&confirmed](const ResolvedPlan::Drive& drive) {
                return confirmationOf(drive.found.device) == confirmed.text;
            }))
            notes.push_back(words("{text} is confirmed, and no drive of the plan has it",
                                  {{"text", quoted(confirmed.text)}}));
    return notes;
}

std::string describeFailure(OnFailure action) {
    switch (action) {
        case OnFailure::stopDrive:
            return words("After a test that fails, the drive is not tested further; the others are.");
        case OnFailure::stopAll:
            return words("After a test that fails, all drives are stopped.");
        case OnFailure::goOn:
            break;
    }
    return words("After a test that fails, the next one is run all the same.");
}

/// What holds for all of it.
void printSummary(const ResolvedPlan& plan) {
    PlannedTime longest;
    std::size_t tested = 0;
    for (std::size_t i = 0; i < plan.drives.size(); ++i) {
        if (!plan.work.drives[i].refusal.empty())
            continue;
        ++tested;
        const PlannedTime time = timeOf(plan.drives[i], plan.plan.repeats);
        if (time.time > longest.time || tested == 1)
            longest = time;
    }
    std::cout << '\n';
    say(words("Drives to be tested: {tested}, refused: {refused}.",
              {{"tested", tested}, {"refused", plan.drives.size() - tested}}) +
        ' ' + describeFailure(plan.plan.onFailure));
    if (tested > 0)
        say(words("The drive that takes longest: {time}.", {{"time", timeText(longest)}}) + ' ' +
            describeAssumedRates());
}

/// Null after all that is wrong with it.
std::unique_ptr<ResolvedPlan> load(const std::string& file, const RunOptions& usual) {
    std::vector<std::string> faults;
    auto plan = ResolvedPlan::load(file, usual, faults);
    for (const std::string& fault : faults)
        complain(fault);
    return plan;
}

int check(const PlanOptions& options) {
    const auto plan = load(options.file, options.usual);
    if (plan == nullptr)
        return kExitUsage;
    printTable(*plan);
    const std::vector<std::string> notes = notesOn(*plan);
    if (!notes.empty())
        std::cout << '\n';
    for (const std::string& note : notes)
        say(note);
    printSummary(*plan);
    return std::ranges::all_of(plan->work.drives, [](const DriveWork& work) { return work.refusal.empty(); })
               ? kExitPass
               : kExitWarn;
}

}  // namespace

int showPlan(const PlanOptions& options) {
    for (const BuiltInPlan& plan : builtInPlans())
        if (options.printed == plan.name) {
            std::cout << plan.text.substr(0, plan.text.find_last_not_of('\n') + 1) << '\n';
            return kExitPass;
        }
    if (!options.file.empty())
        return check(options);
    complain(words(
        "name a plan, as in \"drivetest plan check FILE\", or give --print; {help} tells what the command "
        "takes",
        {{"help", quoted("drivetest plan --help")}}));
    return kExitUsage;
}

int runPlan(const RunOptions& options) {
    const auto plan = load(options.planFile, options);
    if (plan == nullptr)
        return kExitUsage;
    ShelfWork& work = plan->work;
    const ShelfOptions& given = options.shelf;
    work.jobs = given.jobs.value_or(work.jobs);
    if (given.hangSeconds)
        work.hangSeconds = given.hangSeconds;
    if (!given.folder.empty())
        work.folder = given.folder;
    work.newFolderIn = options.recordFolder;
    work.commandLine = options.commandLine;
    return runShelf(std::move(work), {options.quiet, options.colours});
}

}  // namespace drivetest
