#include "drivetest/ExitStatus.h"
#include "drivetest/commands/Commands.h"
#include "drivetest/findings/DriveHistory.h"
#include "drivetest/html/HtmlReport.h"
#include "drivetest/run/NewFile.h"
#include "drivetest/run/Signals.h"
#include "drivetest/terminal/Console.h"
#include "drivetest/terminal/Texts.h"
#include "quix5/StopRequest.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

using zel::words;

int writeReport(const ReportOptions& options) {
    std::string problem;
    for (const std::string& record : options.records)
        if (zel::isSameFile(record, options.output)) {
            complain(words("{file} is the record itself: name another file for the report",
                           {{"file", printable(options.output)}}));
            return kExitUsage;
        }
    std::vector<RecordedRun> runs = readHistory(options.records, problem);
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
