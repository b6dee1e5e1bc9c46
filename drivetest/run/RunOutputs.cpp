#include "drivetest/run/RunOutputs.h"

#include <algorithm>
#include <utility>

#include "drivetest/devices/Drives.h"
#include "drivetest/record/KeptRecord.h"
#include "drivetest/report/ConsoleReporter.h"
#include "quix5/DeviceInventory.h"

namespace drivetest {

namespace {

const OutputFormat& recordFormat() {
    return *std::find_if(outputFormats().begin(), outputFormats().end(),
                         [](const OutputFormat& format) { return format.option == kRecordOption; });
}

/// A record that nobody asked for is no reason to refuse the run.
void keepRecord(const RunOptions& options, PreparedRun& run, Console& console) {
    if (!options.keepRecord || !options.outputOf(kRecordOption).empty())
        return;
    std::string drive = textProperty(run.device, quix5::kPropertySerial);
    if (drive.empty())
        drive = options.device.substr(options.device.find_last_of('/') + 1);
    std::string problem;
    KeptRecord kept = createKeptRecord(recordName(drive, options.test), problem);
    if (!problem.empty())
        console.line("warning: no record of this run is kept: " + problem);
    if (kept.file)
        run.outputs.push_back({&recordFormat(), kept.path, std::move(kept.file)});
}

/// Why two formats cannot be written to these files; empty when they can.
std::string findClash(const std::vector<NamedOutput>& before, const NamedOutput& output) {
    for (const NamedOutput& other : before)
        if (isSameOutput(other.file, output.file))
            return std::string(other.format->what) + " and " + output.format->what +
                   " cannot both be written to " + output.path + ": name two files";
    return {};
}

}  // namespace

bool openOutputs(const RunOptions& options, PreparedRun& run, std::string& error) {
    const OutputRules rules{guardDrive(options.device, options.journalFolder), options.replaceOutputs};
    for (const OutputFormat& format : outputFormats()) {
        const std::string path = options.outputOf(format.option);
        if (path.empty())
            continue;
        NamedOutput output{&format, path, openOutput(format.what, path, rules, error)};
        if (error.empty())
            error = findClash(run.outputs, output);
        if (!error.empty())
            return false;
        run.outputs.push_back(std::move(output));
    }
    return true;
}

void startOutputs(const RunOptions& options, PreparedRun& run, Console& console) {
    keepRecord(options, run, console);
    for (NamedOutput& output : run.outputs)
        run.reporters.add(output.format->make(output.path, std::move(output.file)));
    run.reporters.add(std::make_unique<ConsoleReporter>(console));
}

}  // namespace drivetest
