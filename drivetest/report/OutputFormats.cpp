#include "drivetest/report/OutputFormats.h"

#include <utility>

#include "drivetest/record/RunRecord.h"
#include "drivetest/report/BadList.h"
#include "drivetest/report/HtmlReporter.h"
#include "drivetest/report/LogReporter.h"
#include "drivetest/safety/JournalPlace.h"

namespace drivetest {

const std::vector<OutputFormat>& outputFormats() {
    static const std::vector<OutputFormat> formats = {
        {"--log", "Write the log", "the log",
         [](const std::string& /*path*/, OutputFile file) -> std::unique_ptr<RunReporter> {
             return std::make_unique<LogReporter>(std::move(file));
         }},
        {kRecordOption,
         "Write the record of the run, JSON Lines; - is standard output\n(default: a file in " +
             defaultRecordFolder() + ")",
         "the record",
         [](const std::string& path, OutputFile file) -> std::unique_ptr<RunReporter> {
             return std::make_unique<RunRecord>(std::make_unique<RecordWriter>(path, std::move(file)));
         }},
        {kBadListOption, "Write the list of bad sectors: a range a line, \"first-last count fault\"",
         "the list of bad sectors",
         [](const std::string& path, OutputFile file) -> std::unique_ptr<RunReporter> {
             return std::make_unique<BadListReporter>(path, std::move(file));
         }},
        {kReportOption, "Write a report for people, a page of HTML", "the report",
         [](const std::string& path, OutputFile file) -> std::unique_ptr<RunReporter> {
             return std::make_unique<HtmlReporter>(path, std::move(file));
         }},
    };
    return formats;
}

}  // namespace drivetest
