#include <filesystem>
#include <iostream>
#include <system_error>
#include <utility>

#include "drivetest/ExitStatus.h"
#include "drivetest/commands/Commands.h"
#include "drivetest/fleet/CollectorFile.h"
#include "drivetest/fleet/FleetIndex.h"
#include "drivetest/fleet/RecordFiles.h"
#include "drivetest/fleet/RunMetrics.h"
#include "drivetest/fleet/TestHistory.h"
#include "drivetest/run/Signals.h"
#include "drivetest/terminal/Console.h"
#include "drivetest/terminal/Texts.h"
#include "quix5/StopRequest.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

constexpr const char* kFileName = "drivetest.prom";

/// What became of the records.
struct Tally {
    std::size_t drives = 0;
    std::size_t older = 0;  ///< runs that are not the newest of their test
    LeftOut leftOut{};
};

RunMetrics collect(const std::vector<std::string>& records, Tally& tally) {
    RunMetrics metrics;
    for (const FleetIndex::Drive& drive : FleetIndex::of(records, tally.leftOut).drives) {
        const std::vector<TestHistory> histories = readRuns(drive, tally.leftOut);
        tally.drives += histories.empty() ? 0 : 1;
        for (const TestHistory& history : histories) {
            tally.older += history.older;
            if (!metrics.add(history.newest))
                tally.leftOut.add(
                    words("{file}: its drive cannot be told from another by model and serial number",
                          {{"file", printable(history.newest.file)}}));
        }
    }
    return metrics;
}

void write(const RunMetrics& metrics, const Tally& tally, PrometheusText& text) {
    metrics.write(text);
    text.family("drivetest_records", "Records of runs, by whether these metrics show them.");
    for (const auto& [state, count] :
         {std::pair("shown", metrics.runs()), {"older", tally.older}, {"left_out", tally.leftOut.count()}})
        text.sample(PrometheusText::label("state", state), static_cast<double>(count));
}

/// False after a sentence in `problem`.
bool findAll(const MetricsOptions& options, std::vector<std::string>& records, LeftOut& leftOut,
             std::string& problem) {
    std::error_code unknown;
    if (!std::filesystem::is_directory(zel::pathOf(options.folder), unknown)) {
        problem = words("{folder} is no folder", {{"folder", printable(options.folder)}});
        return false;
    }
    return findRecords(options.records, records, leftOut, problem);
}

}  // namespace

int writeMetrics(const MetricsOptions& options) {
    std::string problem;
    std::vector<std::string> records;
    Tally tally;
    if (!findAll(options, records, tally.leftOut, problem)) {
        complain(problem);
        return kExitUsage;
    }
    const RunMetrics metrics = collect(records, tally);
    complainOf(tally.leftOut);
    CollectorFile file(options.folder, kFileName);
    if (metrics.runs() == 0) {
        complain(words("there is no record to tell of: {file} is left as it is",
                       {{"file", printable(file.path())}}));
        return kExitUsage;
    }
    stopOnSignals();  // from here on something would stay behind
    PrometheusText text(
        [&file](std::string_view part) { return !quix5::StopRequest::made() && file.write(part); });
    const bool isOpen = file.open();
    if (isOpen)
        write(metrics, tally, text);
    if (!isOpen || !text.finish() || !file.keep()) {
        complain(file.problem().empty()
                     ? words("stopped; {file} is left as it is", {{"file", printable(file.path())}})
                     : file.problem());
        return file.problem().empty() ? kExitUserAborted : kExitUsage;
    }
    std::cout << words(
                     "{file} tells of the newest run of each test: drives {drives}, runs {runs}; older runs "
                     "{older}, "
                     "left out {left}",
                     {{"file", printable(file.path())},
                      {"drives", tally.drives},
                      {"runs", metrics.runs()},
                      {"older", tally.older},
                      {"left", tally.leftOut.count()}})
              << '\n';
    return tally.leftOut.count() == 0 ? kExitPass : kExitWarn;
}

}  // namespace drivetest
