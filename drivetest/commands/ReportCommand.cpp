#include <algorithm>
#include <iostream>

#include "drivetest/ExitStatus.h"
#include "drivetest/commands/Commands.h"
#include "drivetest/findings/RunComparison.h"
#include "drivetest/html/HtmlReport.h"
#include "drivetest/record/RecordReader.h"
#include "drivetest/run/NewFile.h"
#include "drivetest/run/Signals.h"
#include "drivetest/terminal/Console.h"
#include "drivetest/terminal/Texts.h"
#include "quix5/StopRequest.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

std::string nameOf(const RecordedDrive& drive) {
    return drive.serial.empty() ? drive.location : drive.model + " " + drive.serial;
}

/// All records, the oldest first; nothing after a sentence in `problem`.
std::vector<RecordedRun> readRuns(const std::vector<std::string>& records, std::string& problem) {
    std::vector<RecordedRun> runs;
    for (const std::string& record : records) {
        std::optional<RecordedRun> run = readRecord(record, problem);
        if (!run)
            return {};
        if (!runs.empty() && !isSameDrive(runs.front().drive, run->drive)) {
            problem = words(
                "{first} and {second} are of different drives, {drive} and {other}: give records of one "
                "drive",
                {{"first", printable(records.front())},
                 {"second", printable(record)},
                 {"drive", quoted(printable(nameOf(runs.front().drive)))},
                 {"other", quoted(printable(nameOf(run->drive)))}});
            return {};
        }
        runs.push_back(std::move(*run));
    }
    std::sort(runs.begin(), runs.end(),
              [](const RecordedRun& a, const RecordedRun& b) { return a.startTime < b.startTime; });
    return runs;
}

}  // namespace

int writeReport(const ReportOptions& options) {
    std::string problem;
    for (const std::string& record : options.records)
        if (zel::isSameFile(record, options.output)) {
            complain(words("{file} is the record itself: name another file for the report",
                           {{"file", printable(options.output)}}));
            return kExitUsage;
        }
    std::vector<RecordedRun> runs = readRuns(options.records, problem);
    if (!problem.empty()) {
        complain(problem);
        return kExitUsage;
    }
    for (RecordedRun& run : runs)
        run.file = zel::textOf(zel::pathOf(run.file).filename());
    stopOnSignals();  // from here on something would stay behind
    NewFile file(options.output, options.replaceOutput);
    const auto write = [&file](std::string_view part) {
        return !quix5::StopRequest::made() && file.write(part);
    };
    if (file.open() && writeHtmlReport(runs, write) && file.keep())
        return kExitPass;
    complain(file.problem().empty() ? words("stopped; no report was made") : file.problem());
    return file.problem().empty() ? kExitUserAborted : kExitUsage;
}

}  // namespace drivetest
