#include <algorithm>
#include <iostream>

#include "drivetest/ExitStatus.h"
#include "drivetest/commands/Commands.h"
#include "drivetest/fleet/Fleet.h"
#include "drivetest/fleet/FleetIndex.h"
#include "drivetest/fleet/OverviewPage.h"
#include "drivetest/fleet/RecordFiles.h"
#include "drivetest/fleet/TestHistory.h"
#include "drivetest/run/NewFile.h"
#include "drivetest/run/Signals.h"
#include "drivetest/terminal/Console.h"
#include "drivetest/terminal/Texts.h"
#include "quix5/StopRequest.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

using zel::words;

namespace {

/// False after a sentence in `problem`.
bool findAll(const OverviewOptions& options, std::vector<std::string>& records, LeftOut& leftOut,
             std::string& problem) {
    if (!findRecords({options.folder}, records, leftOut, problem))
        return false;
    if (std::ranges::any_of(records, [&options](const std::string& record) {
            return zel::isSameFile(record, options.output);
        }))
        problem = words("{file} is the record itself: name another file for the report",
                        {{"file", printable(options.output)}});
    return problem.empty();
}

}  // namespace

int writeOverview(const OverviewOptions& options) {
    std::string problem;
    std::vector<std::string> records;
    LeftOut leftOut;
    if (!findAll(options, records, leftOut, problem)) {
        complain(problem);
        return kExitUsage;
    }
    Fleet fleet;
    for (const FleetIndex::Drive& drive : FleetIndex::of(records, leftOut).drives)
        fleet.add(readRuns(drive, leftOut));
    complainOf(leftOut);
    if (fleet.drives().empty()) {
        complain(words("{folder} holds no record to tell of", {{"folder", printable(options.folder)}}));
        return kExitUsage;
    }
    stopOnSignals();  // from here on something would stay behind
    NewFile file(options.output, options.replaceOutput);
    const auto write = [&file](std::string_view part) {
        return !quix5::StopRequest::made() && file.write(part);
    };
    const OverviewPlace place{options.folder, zel::textOf(zel::pathOf(options.output).parent_path())};
    if (!file.open() || !writeOverview(fleet, leftOut, place, write) || !file.keep()) {
        complain(file.problem().empty() ? words("stopped; no report was made") : file.problem());
        return file.problem().empty() ? kExitUserAborted : kExitUsage;
    }
    std::cout << words("{file}: drives {drives}, runs {runs}, left out {left}",
                       {{"file", printable(options.output)},
                        {"drives", fleet.drives().size()},
                        {"runs", fleet.runs()},
                        {"left", leftOut.count()}})
              << '\n';
    return leftOut.count() == 0 ? kExitPass : kExitWarn;
}

}  // namespace drivetest
