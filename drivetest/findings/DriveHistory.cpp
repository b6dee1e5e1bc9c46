#include "drivetest/findings/DriveHistory.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "drivetest/findings/RunComparison.h"
#include "drivetest/record/RecordReader.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

std::string nameOf(const RecordedDrive& drive) {
    return drive.serial.empty() ? drive.location : drive.model + " " + drive.serial;
}

}  // namespace

std::vector<RecordedRun> readHistory(const std::vector<std::string>& records, std::string& problem) {
    std::vector<RecordedRun> runs;
    for (const std::string& record : records) {
        std::optional<RecordedRun> run = readRecord(record, problem);
        if (!run)
            return {};
        if (!runs.empty() && !isSameDrive(runs.front().drive, run->drive)) {
            problem = zel::words(
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

}  // namespace drivetest
