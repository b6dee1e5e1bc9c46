#include "drivetest/run/RunOutputs.h"

#include <algorithm>
#include <utility>

#include "drivetest/devices/Drives.h"
#include "drivetest/record/KeptRecord.h"
#include "drivetest/report/ConsoleReporter.h"
#include "drivetest/run/DataGuard.h"
#include "drivetest/safety/JournalPlace.h"
#include "drivetest/terminal/Labels.h"
#include "quix5/DeviceInventory.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

const OutputFormat& recordFormat() {
    return *std::find_if(outputFormats().begin(), outputFormats().end(),
                         [](const OutputFormat& format) { return format.option == kRecordOption; });
}

}  // namespace

std::unique_ptr<RunOutputs> RunOutputs::open(const RunOptions& options, const TakenDrive& drive,
                                             std::optional<Grading> grading, Console& console,
                                             std::string& error) {
    auto outputs = std::make_unique<RunOutputs>();
    if (!outputs->openNamed(options, error))
        return nullptr;
    for (const Output& output : outputs->m_outputs)
        console.shareWith(output.file);
    outputs->keepRecord(options, drive.chosen, console);
    for (Output& output : outputs->m_outputs)
        outputs->m_reporters.add(output.format->make(output.path, std::move(output.file)));
    outputs->m_reporters.add(std::make_unique<ConsoleReporter>(console));
    if (grading) {
        auto grader = std::make_unique<RunGrader>(*std::move(grading));
        outputs->m_grader = grader.get();
        outputs->m_reporters.add(std::move(grader));
    }
    return outputs;
}

bool RunOutputs::openNamed(const RunOptions& options, std::string& error) {
    const OutputRules rules{guardDrive(options.device, options.journalFolder), options.replaceOutputs};
    for (const OutputFormat& format : outputFormats()) {
        const std::string path = options.outputOf(format.option);
        if (path.empty())
            continue;
        Output output{&format, path, openOutput(format.what, path, rules, error)};
        if (error.empty())
            error = findClash(output);
        if (!error.empty())
            return false;
        m_outputs.push_back(std::move(output));
    }
    return true;
}

/// Why two formats cannot be written to these files; empty when they can.
std::string RunOutputs::findClash(const Output& output) const {
    for (const Output& other : m_outputs)
        if (isSameOutput(other.file, output.file))
            return words(
                "{what} and {other} cannot both be written to {file}: name two files",
                {{"what", other.format->what}, {"other", output.format->what}, {"file", output.path}});
    return {};
}

/// A record that nobody asked for is no reason to refuse the run.
void RunOutputs::keepRecord(const RunOptions& options, const ChosenTest& chosen, Console& console) {
    if (!options.keepRecord || !options.outputOf(kRecordOption).empty())
        return;
    std::string drive = textProperty(chosen.device, quix5::kPropertySerial);
    if (drive.empty())
        drive = zel::textOf(zel::pathOf(options.device).filename());
    std::string problem;
    KeptRecord kept =
        createKeptRecord(options.recordFolder.empty() ? defaultRecordFolder() : options.recordFolder,
                         recordName(drive, chosen.test->descriptor.name().utf8()), problem);
    if (!problem.empty())
        console.line(eventLabel(words("warning:")) +
                     words("no record of this run is kept: {reason}", {{"reason", problem}}));
    if (kept.file)
        m_outputs.push_back({&recordFormat(), kept.path, std::move(kept.file)});
}

std::string RunOutputs::badSectorsList() const {
    std::string list;
    for (const Output& output : m_outputs)
        if (output.format->option == kBadListOption)
            return output.path;
        else if (output.format->option == kRecordOption)
            list = output.format->what;
    return list;
}

int RunOutputs::close(int status, Console& console) const {
    for (std::size_t i = 0; i < m_outputs.size(); ++i) {
        const OutputFormat& format = *m_outputs[i].format;
        const bool isRecord = format.option == kRecordOption;
        const ReportState state = m_reporters.all()[i]->state();
        if (!state.isComplete) {
            complain(state.wasGivenUp
                         ? words("{what} {file} is incomplete: nobody took what was left of it",
                                 {{"what", format.what}, {"file", state.path}})
                         : words("{what} {file} is incomplete: it could not be written to the end",
                                 {{"what", format.what}, {"file", state.path}}));
            if (isRecord && !state.wasGivenUp && status != kExitNotRestored)
                status = kExitInternalError;
        } else if (state.path != "-" && (isRecord || format.option == kReportOption)) {
            console.line(summaryLabel(isRecord ? words("record") : words("report")) + state.path);
        }
    }
    return status;
}

}  // namespace drivetest
