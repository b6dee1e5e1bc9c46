#include "drivetest/shelf/RecordedOutcome.h"

#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>

#include "drivetest/html/HtmlReport.h"
#include "drivetest/record/RecordReader.h"
#include "drivetest/run/NewFile.h"
#include "zel/Path.h"

namespace drivetest {

namespace {

/// False after a sentence in `problem`.
bool writeReport(const RecordedRun& run, const std::string& path, std::string& problem) {
    NewFile file(path, false);
    const bool isWritten =
        file.open() && writeHtmlReport({run}, [&file](std::string_view part) { return file.write(part); }) &&
        file.keep();
    problem = file.problem();
    return isWritten;
}

std::optional<double> rateOf(const RecordedRun& run, const char* name) {
    const RecordedMeasurement* const rate = run.measurement(name);
    return rate != nullptr ? std::optional(rate->value) : std::nullopt;
}

}  // namespace

void say(RunOutcome& outcome, const std::string& text) {
    outcome.words += (outcome.words.empty() || text.empty() ? "" : "; ") + text;
}

void readRecorded(RunOutcome& outcome) {
    std::error_code unknown;
    const auto size = std::filesystem::file_size(zel::pathOf(outcome.files.record), unknown);
    if (!unknown && size == 0)
        std::filesystem::remove(zel::pathOf(outcome.files.record), unknown);
    if (unknown || size == 0)
        return;
    outcome.hasRecord = true;
    std::string problem;
    const auto run = readRecord(outcome.files.record, problem);
    if (!run)
        return;
    outcome.test = run->test.empty() ? outcome.test : run->test;
    outcome.result = run->result;
    outcome.grade = run->grade ? run->grade->grade : '\0';
    outcome.badSectors = run->badSectors();
    outcome.readRate = rateOf(*run, "readRate");
    outcome.writeRate = rateOf(*run, "writeRate");
    outcome.hasReport =
        zel::pathExists(outcome.files.report) || writeReport(*run, outcome.files.report, problem);
    if (!outcome.hasReport)
        say(outcome, problem);
}

}  // namespace drivetest
