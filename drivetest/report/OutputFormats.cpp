#include "drivetest/report/OutputFormats.h"

#include <utility>

#include "drivetest/record/RunRecord.h"
#include "drivetest/report/BadList.h"
#include "drivetest/report/HtmlReporter.h"
#include "drivetest/report/JUnitReporter.h"
#include "drivetest/report/LogReporter.h"
#include "drivetest/report/RescueReporters.h"
#include "drivetest/safety/JournalPlace.h"
#include "zel/Words.h"

namespace drivetest {

using zel::words;

const std::vector<OutputFormat>& outputFormats() {
    static const std::vector<OutputFormat> formats = {
        {"--log", words("Write the log"), words("the log"),
         [](const std::string& /*path*/, OutputFile file) -> std::unique_ptr<RunReporter> {
             return std::make_unique<LogReporter>(std::move(file));
         }},
        {kRecordOption,
         words("Write the record of the run, JSON Lines; - is standard output\n(default: a file in {folder})",
               {{"folder", defaultRecordFolder()}}),
         words("the record"),
         [](const std::string& path, OutputFile file) -> std::unique_ptr<RunReporter> {
             return std::make_unique<RunRecord>(std::make_unique<RecordWriter>(path, std::move(file)));
         }},
        {kBadListOption, words("Write the list of bad sectors: a range a line, \"first-last count fault\""),
         words("the list of bad sectors"),
         [](const std::string& path, OutputFile file) -> std::unique_ptr<RunReporter> {
             return std::make_unique<BadListReporter>(path, std::move(file));
         }},
        {kReportOption, words("Write a report for people, a page of HTML"), words("the report"),
         [](const std::string& path, OutputFile file) -> std::unique_ptr<RunReporter> {
             return std::make_unique<HtmlReporter>(path, std::move(file));
         }},
        {kJUnitOption, words("Write what became of each test as JUnit's XML; one file for all drives"),
         words("the JUnit file"),
         [](const std::string& path, OutputFile file) -> std::unique_ptr<RunReporter> {
             return std::make_unique<JUnitReporter>(path, std::move(file));
         }},
        {"--export ddrescue", words("a mapfile of GNU ddrescue, which can go on from there"),
         words("the mapfile"),
         [](const std::string& path, OutputFile file) -> std::unique_ptr<RunReporter> {
             return std::make_unique<RescueMapReporter>(path, std::move(file));
         }},
        {"--export badblocks", words("the numbers of bad blocks of 1024 bytes, as badblocks writes them"),
         words("the list of bad blocks"),
         [](const std::string& path, OutputFile file) -> std::unique_ptr<RunReporter> {
             return std::make_unique<BadBlocksReporter>(path, std::move(file));
         }},
    };
    return formats;
}

}  // namespace drivetest
