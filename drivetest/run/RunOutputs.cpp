#include "drivetest/run/RunOutputs.h"

#include <array>
#include <utility>

#include "drivetest/devices/Drives.h"
#include "drivetest/record/KeptRecord.h"
#include "drivetest/report/BadList.h"
#include "quix5/DeviceInventory.h"

namespace drivetest {

namespace {

/// A record that nobody asked for is no reason to refuse the run.
void keepRecord(const RunOptions& options, PreparedRun& run, Console& console) {
    if (!options.keepRecord || run.events)
        return;
    std::string drive = textProperty(run.device, quix5::kPropertySerial);
    if (drive.empty())
        drive = options.device.substr(options.device.find_last_of('/') + 1);
    std::string problem;
    KeptRecord kept = createKeptRecord(recordName(drive, options.test), problem);
    run.events = std::move(kept.file);
    run.recordPath = kept.path;
    if (!problem.empty())
        console.line("warning: no record of this run is kept: " + problem);
}

}  // namespace

bool openOutputs(const RunOptions& options, PreparedRun& run, std::string& error) {
    const OutputRules rules{guardDrive(options.device, options.journalFolder), options.replaceOutputs};
    struct Named {
        OutputFile& file;
        const char* what;
        const std::string& path;
    };
    const std::array<Named, 3> all{{{run.log, "the log", options.logFile},
                                    {run.events, "the record", options.eventsFile},
                                    {run.badList, "the list of bad sectors", options.badListFile}}};
    for (auto now = all.begin(); now != all.end() && error.empty(); ++now) {
        if (now->path.empty())
            continue;
        now->file = openOutput(now->what, now->path, rules, error);
        for (auto before = all.begin(); before != now && error.empty(); ++before)
            if (before->file && now->file && isSameOutput(before->file, now->file))
                error = std::string(before->what) + " and " + now->what + " cannot both be written to " +
                        now->path + ": name two files";
    }
    run.recordPath = options.eventsFile;
    return error.empty();
}

void startOutputs(const RunOptions& options, PreparedRun& run, Console& console) {
    keepRecord(options, run, console);
    if (run.log)
        run.logQueue = OutputQueue::of(std::move(run.log));
    if (run.events)
        run.record = std::make_unique<RunRecord>(
            std::make_unique<RecordWriter>(run.recordPath, std::move(run.events)));
}

void writeBadList(PreparedRun& run, const std::string& path, const BadSectors* bad) {
    if (!run.badList)
        return;
    const std::string title = run.test->descriptor.name().utf8() + " on " + run.device.osLocator().utf8();
    if (!run.badList.begin() || !run.badList.write(badListText(bad != nullptr ? *bad : BadSectors(), title)))
        complain("the list of bad sectors could not be written to " + path);
}

}  // namespace drivetest
