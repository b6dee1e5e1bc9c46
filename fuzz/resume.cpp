#include <algorithm>
#include <memory>
#include <string>
#include <string_view>

#include "drivetest/record/RecordWriter.h"
#include "drivetest/record/Sha256.h"
#include "drivetest/record/StatisticsJson.h"
#include "drivetest/record/StatisticsStateJson.h"
#include "drivetest/resume/ProvenLines.h"
#include "drivetest/resume/ResumeReader.h"
#include "drivetest/terminal/Terminal.h"
#include "fuzz/Invariants.h"

namespace drivetest {

std::string systemLanguage() {
    return {};
}
std::string programFolder() {
    return {};
}

}  // namespace drivetest

namespace libDrive2::fuzz {
namespace {

using drivetest::DriveStatistics;
using drivetest::RecordWriter;
using drivetest::ResumedRun;
using drivetest::Sha256;

/// The digest that a line of progress should have goes into its place, so that its contents are looked at.
void seal(std::string& line, const Sha256& before) {
    const auto name = line.find("\"name\":\"progress\"");
    const auto place = line.rfind(RecordWriter::kNoDigest);
    if (name == std::string::npos || place == std::string::npos)
        return;
    Sha256 digest = before;
    digest.add(line);
    line.replace(place, RecordWriter::kNoDigest.size(), digest.hexDigest());
}

/// A record of lines that need no numbers.
std::string recordOf(std::string_view text) {
    std::string record;
    Sha256 digest;
    for (std::uint64_t number = 0; text.find('\n') != std::string_view::npos; ++number) {
        const std::string_view given = text.substr(0, text.find('\n') + 1);
        std::string line = given.starts_with("{\"") ? "{\"sequenceNumber\":" + std::to_string(number) + "," +
                                                          std::string(given.substr(1))
                                                    : std::string(given);
        seal(line, digest);
        digest.add(line);
        record += line;
        text.remove_prefix(given.size());
    }
    return record + std::string(text);
}

bool isInside(const SectorSpan& span, std::uint64_t sectors) {
    return span.count > 0 && span.lba < sectors && span.count <= sectors - span.lba;
}

/// Goes on from it, as a run does.
void checkStatistics(ResumedRun& run) {
    DriveStatistics& statistics = *run.statistics;
    const std::uint64_t sectors = run.run.drive.sectors;
    statistics.onPlan(sectors);
    statistics.keepChanges([](std::uint64_t, std::uint32_t) {});
    require(statistics.takeState().good.empty(), "nothing has changed yet");
    if (sectors > 0)
        statistics.onOperation({DriveOperation::read, sectors - 1, 1, std::chrono::milliseconds(2),
                                std::chrono::seconds(1), 1, LIBDRIVE2_NO_ERROR});
    (void)drivetest::stateJson(statistics.takeState());
    statistics.finish();
    std::uint64_t bad = 0;
    for (const SectorSpan& span : statistics.badSectors().ranges()) {
        require(isInside(span, sectors), "what is bad is on the drive");
        bad += span.count;
    }
    for (const SectorSpan& span : statistics.goodSectors())
        require(isInside(span, sectors), "what is good is on the drive");
    const drivetest::Coverage coverage = statistics.coverage();
    require(coverage.failed == bad, "bad sectors are those that failed");
    require(coverage.requested == coverage.tested + coverage.failed + coverage.skipped, "coverage adds up");
    require(coverage.tested + coverage.failed <= sectors, "no sector is counted twice");
    (void)drivetest::surfaceJson(statistics.surface());
    (void)drivetest::slowTransfersJson(statistics.slowTransfers());
    (void)drivetest::latencyJson(statistics);
}

}  // namespace

void check(Bytes input) {
    const std::string record = recordOf({reinterpret_cast<const char*>(input.data()), input.size()});
    const drivetest::ProvenLines proven = drivetest::findProven(record);
    require(proven.bytes <= record.size() && (proven.bytes == 0 || record[proven.bytes - 1] == '\n'),
            "whole lines are proven");
    std::string problem;
    const auto run = drivetest::resumedOf("record", record, problem);
    require((run == nullptr) != problem.empty(), "what is refused has a reason, and nothing else has");
    require(std::ranges::none_of(problem, [](char c) { return c == '\n' || c == '\x1b'; }),
            "a reason is one line");
    if (run == nullptr)
        return;
    require(!proven.hasVerdict && run->lines == record.substr(0, proven.bytes),
            "proven lines are gone on from");
    require(run->spent.count() >= 0, "no time is negative");
    require(run->statistics != nullptr, "progress is that of a drive");
    checkStatistics(*run);
}

}  // namespace libDrive2::fuzz
