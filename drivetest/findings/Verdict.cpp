#include "drivetest/findings/Verdict.h"

#include <algorithm>
#include <iterator>

#include "drivetest/findings/Figures.h"
#include "zel/Words.h"

namespace drivetest {

using zel::counted;
using zel::worded;
using zel::words;

namespace {

constexpr std::pair<const char*, const char*> kMethods[] = {
    {"block", zel::marked("block device of the system")},
    {"blockAndScsi", zel::marked("block device of the system, and SCSI commands")},
    {"scsi", zel::marked("SCSI commands")},
    {"ata", zel::marked("ATA commands")},
    {"nvme", zel::marked("NVMe commands")},
    {"optical", zel::marked("SCSI commands for optical drives")},
    {"floppy", zel::marked("block device of a floppy drive")},
    {"usbFloppy", zel::marked("USB floppy commands")},
};

/// The drive's sectors; where the record does not tell, all but the last cell of its surface has them. 0 when
/// nothing is known.
std::uint64_t sizeOf(const RecordedRun& run) {
    if (run.drive.sectors != 0 || !run.surface || run.surface->cells() == 0)
        return run.drive.sectors;
    return run.surface->firstSector(run.surface->cells() - 1) + 1;
}

/// The part of the drive, or of what was to be tested where the drive's size is not known.
std::string testedShare(const RecordedCoverage& coverage, std::uint64_t size) {
    return shareFigure(coverage.tested + coverage.failed, std::max(coverage.requested, size));
}

std::string soundSentence(const RecordedRun& run) {
    const RecordedCoverage coverage = run.coverage.value_or(RecordedCoverage{});
    if (run.coverage && coverage.tested == 0)
        return words("No fault was found, but no sector was tested either: nothing is known of the drive.");
    if (isWholeDrive(run))
        return words("No fault was found: each of the {count} sectors was tested and is good.",
                     {{"count", countFigure(coverage.tested)}});
    if (coverage.unit == "positions")
        return words(
            "No fault was found at the {count} positions that were tried; the other sectors are not "
            "tested.",
            {{"count", countFigure(coverage.tested)}});
    if (coverage.tested > 0 && sizeOf(run) != 0)
        return words("No fault was found in the {share} of the drive that was tested; the rest is unknown.",
                     {{"share", testedShare(coverage, sizeOf(run))}});
    return words("No fault was found; how much of the drive was tested is not known.");
}

std::string badSentence(const RecordedRun& run) {
    if (isCapacityFalse(run))
        return words("The drive holds less than it claims: do not trust it with data.");
    const std::uint64_t bad = std::max(run.badSectors(), run.coverage ? run.coverage->failed : 0);
    if (bad == 0)
        return words("The drive failed the test: do not trust it with data.");
    return counted(bad, "{count} sector of the drive is bad: do not trust it with data.",
                   "{count} sectors of the drive are bad: do not trust it with data.",
                   {{"count", countFigure(bad)}});
}

bool isDriveLost(const RecordedRun& run) {
    return std::any_of(run.problems.begin(), run.problems.end(),
                       [](const RecordedError& problem) { return problem.symptom == "driveLost"; });
}

std::uint64_t errorsTold(const RecordedRun& run) {
    std::uint64_t errors = 0;
    for (const RecordedEvents& events : run.events)
        errors += events.type == "ERR" ? events.count : 0;
    return errors;
}

Verdict warned(const RecordedRun& run) {
    if (run.warnings > 0)
        return {Verdict::Kind::doubted,
                counted(run.warnings, "No bad sector was found, but there is {n} warning.",
                        "No bad sector was found, but there are {n} warnings.")};
    return {Verdict::Kind::doubted,
            words("No bad sector was found, but the drive was slower than was allowed.")};
}

}  // namespace

Verdict Verdict::of(const RecordedRun& run) {
    if (run.badSectors() > 0 || run.result == "FAIL")
        return {Kind::faulty, badSentence(run)};
    if (const std::uint64_t errors = errorsTold(run); run.isCutOff && errors > 0)
        return {
            Kind::open,
            counted(errors,
                    "The record breaks off before the end of the test; until then it told of {n} error: do "
                    "not rely on the drive.",
                    "The record breaks off before the end of the test; until then it told of {n} errors: do "
                    "not rely on the drive.")};
    if (run.isCutOff)
        return {Kind::open, words("The record breaks off before the end of the test: there is no verdict.")};
    if (run.result == "USERABORTED")
        return {Kind::open, words("The test was stopped before its end: there is no verdict.")};
    if (run.result == "WARN")
        return warned(run);
    if (isDriveLost(run))
        return {Kind::open,
                words("The drive stopped taking commands while it was tested: there is no verdict, but do "
                      "not rely on it.")};
    if (run.result != "PASS")
        return {Kind::open,
                words("The test could not be carried out ({result}): there is no verdict on the drive.",
                      {{"result", run.result}})};
    if (run.warnings > 0)
        return warned(run);
    return {isWholeDrive(run) ? Kind::sound : Kind::doubted, soundSentence(run)};
}

zel::Wording obstacleToVerdict(const RecordedRun& run) {
    if (run.isCutOff)
        return worded("the record breaks off before the end of the test");
    if (run.result == "USERABORTED")
        return worded("the test was stopped before its end");
    if (run.result.empty())
        return worded("the record tells no result");
    if (run.result != "PASS" && run.result != "WARN" && run.result != "FAIL")
        return worded("the test could not be carried out ({result})", {{"result", run.result}});
    if (run.result != "FAIL" && isDriveLost(run))
        return worded("the drive stopped taking commands while it was tested");
    return {};
}

std::string methodText(const std::string& method) {
    const auto* const known = std::find_if(std::begin(kMethods), std::end(kMethods),
                                           [&method](const auto& each) { return method == each.first; });
    return known != std::end(kMethods) ? words(known->second) : method;
}

std::string coverageShare(const RecordedCoverage& coverage) {
    return shareFigure(coverage.tested + coverage.failed, coverage.requested);
}

bool isCapacityFalse(const RecordedRun& run) {
    return std::ranges::any_of(run.events, [](const RecordedEvents& each) {
        return each.key == "capacityRepeats" || each.key == "capacityLost";
    });
}

bool isWholeDrive(const RecordedRun& run) {
    if (!run.coverage || run.coverage->unit != "sectors" || run.coverage->skipped != 0)
        return false;
    const std::uint64_t size = sizeOf(run);
    return size != 0 && run.coverage->tested + run.coverage->failed >= size;
}

}  // namespace drivetest
