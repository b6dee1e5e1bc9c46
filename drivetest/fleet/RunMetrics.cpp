#include "drivetest/fleet/RunMetrics.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <optional>
#include <utility>

#include "drivetest/findings/Figures.h"
#include "drivetest/fleet/RunResult.h"
#include "drivetest/health/HealthCounters.h"
#include "drivetest/record/RecordTime.h"

namespace drivetest {

namespace {

using Value = std::optional<double>;

constexpr double kBytesPerMB = 1048576;

Value rateOf(const RecordedRun& run, const char* name) {
    const RecordedMeasurement* const rate = run.measurement(name);
    return rate != nullptr ? Value(rate->value * kBytesPerMB) : Value();
}

Value transfers(const RecordedRun& run, std::uint64_t RecordedAttempts::*count) {
    if (run.attempts.empty())
        return {};
    double sum = 0;
    for (const RecordedAttempts& each : run.attempts)
        sum += static_cast<double>(each.*count);
    return sum;
}

Value slow(const RecordedRun& run, std::uint64_t RecordedSlowness::*count) {
    return run.slowness ? Value(static_cast<double>((*run.slowness).*count)) : Value();
}

/// Only what the end of a record tells.
Value atEnd(const RecordedRun& run, double value) {
    return run.result.empty() ? Value() : Value(value);
}

Value unrestored(const RecordedRun& run) {
    double sum = 0;
    for (const auto& [first, last] : run.unrestored)
        sum += static_cast<double>(last - first + 1);
    return atEnd(run, sum);
}

Value testedShare(const RecordedRun& run) {
    if (!run.coverage || run.coverage->requested == 0)
        return {};
    return static_cast<double>(run.coverage->tested + run.coverage->failed) /
           static_cast<double>(run.coverage->requested);
}

/// A figure of each run. Rows of one name, which differ in their label, stand together.
struct Metric {
    const char* name;
    const char* label;  ///< beside those of drive and test; empty for none
    const char* help;
    Value (*of)(const RecordedRun& run);
};

constexpr Metric kMetrics[] = {
    {"drivetest_run_start_timestamp_seconds", "", "When the newest run of the test began.",
     [](const RecordedRun& run) { return instantOf(run.startTime); }},
    {"drivetest_run_end_timestamp_seconds", "", "When it ended; of a run whose record has an end.",
     [](const RecordedRun& run) { return run.isCutOff ? Value() : instantOf(run.lastTime); }},
    {"drivetest_run_duration_seconds", "", "How long it took, without pauses between its parts.",
     [](const RecordedRun& run) { return Value(secondsOf(run)); }},
    {"drivetest_drive_size_bytes", "", "Capacity of the drive.",
     [](const RecordedRun& run) {
         return run.drive.sectors == 0
                    ? Value()
                    : Value(static_cast<double>(run.drive.sectors) * run.drive.sectorBytes);
     }},
    {"drivetest_bad_sectors", "", "Sectors that the run found bad.",
     [](const RecordedRun& run) { return atEnd(run, static_cast<double>(run.badSectors())); }},
    {"drivetest_errors", "", "Errors of the drive that the run told of.",
     [](const RecordedRun& run) { return atEnd(run, static_cast<double>(run.errors)); }},
    {"drivetest_warnings", "", "Warnings that the run told of.",
     [](const RecordedRun& run) { return atEnd(run, static_cast<double>(run.warnings)); }},
    {"drivetest_unrestored_sectors", "", "Sectors that may hold what the test wrote.", unrestored},
    {"drivetest_tested_ratio", "", "How much of what was to be tested was tested.", testedShare},
    {"drivetest_read_bytes_per_second", "", "Rate of reading.",
     [](const RecordedRun& run) { return rateOf(run, "readRate"); }},
    {"drivetest_written_bytes_per_second", "", "Rate of writing.",
     [](const RecordedRun& run) { return rateOf(run, "writeRate"); }},
    {"drivetest_transfers", "outcome=\"first_try\"", "Transfers, by what became of them.",
     [](const RecordedRun& run) { return transfers(run, &RecordedAttempts::firstTry); }},
    {"drivetest_transfers", "outcome=\"recovered\"", "",
     [](const RecordedRun& run) { return transfers(run, &RecordedAttempts::recovered); }},
    {"drivetest_transfers", "outcome=\"failed\"", "",
     [](const RecordedRun& run) { return transfers(run, &RecordedAttempts::failed); }},
    {"drivetest_slow_transfers", "over_seconds=\"0.15\"", "Transfers that took longer.",
     [](const RecordedRun& run) { return slow(run, &RecordedSlowness::over150ms); }},
    {"drivetest_slow_transfers", "over_seconds=\"0.5\"", "",
     [](const RecordedRun& run) { return slow(run, &RecordedSlowness::over500ms); }},
    {"drivetest_temperature_lowest_celsius", "", "Lowest temperature of the drive in the run.",
     [](const RecordedRun& run) {
         return run.heat ? Value(static_cast<double>(run.heat->lowest)) : Value();
     }},
    {"drivetest_temperature_highest_celsius", "", "Highest temperature of the drive in the run.",
     [](const RecordedRun& run) {
         return run.heat ? Value(static_cast<double>(run.heat->highest)) : Value();
     }},
    {"drivetest_rested_seconds", "", "How long the run let the drive cool.",
     [](const RecordedRun& run) {
         return run.heat ? Value(static_cast<double>(run.heat->rested.count())) : Value();
     }},
    {"drivetest_health_predicts_failure", "", "Whether the drive predicts its failure, 1 or 0.",
     [](const RecordedRun& run) {
         const auto& health = run.healthAfter ? run.healthAfter : run.healthBefore;
         return health && health->health.predictsFailure ? Value(*health->health.predictsFailure ? 1 : 0)
                                                         : Value();
     }},
};

Value healthOf(const RecordedRun& run, const HealthCounter& counter) {
    const auto& reading = run.healthAfter ? run.healthAfter : run.healthBefore;
    const auto number = reading ? reading->health.*counter.number : libDrive2::DriveHealth::Number();
    return number ? Value(inBaseUnit(counter, *number)) : Value();
}

/// Those that are not empty.
std::string labelsOf(std::initializer_list<std::pair<const char*, std::string>> all) {
    std::string labels;
    for (const auto& [name, value] : all)
        if (!value.empty())
            labels = PrometheusText::joined(labels, PrometheusText::label(name, value));
    return labels;
}

}  // namespace

bool RunMetrics::add(const RecordedRun& run) {
    const RecordedDrive& drive = run.drive;
    Series series{labelsOf({{"serial", drive.serial},
                            {"device", drive.serial.empty() ? drive.location : std::string()},
                            {"model", drive.model},
                            {"firmware", drive.firmware},
                            {"test", run.test}}),
                  labelsOf({{"path", drive.location}, {"version", run.programVersion}}),
                  resultOf(run),
                  run.grade ? run.grade->grade : '\0',
                  {}};
    if (!m_known.insert(series.labels).second)
        return false;
    const auto keep = [&series](const Value& value) {
        series.values.push_back(value.value_or(std::numeric_limits<double>::quiet_NaN()));
    };
    for (const Metric& metric : kMetrics)
        keep(metric.of(run));
    for (const HealthCounter& counter : healthCounters())
        keep(healthOf(run, counter));
    m_series.push_back(std::move(series));
    return true;
}

void RunMetrics::write(PrometheusText& text) const {
    text.family("drivetest_run_info", "By which path the drive was reached, and the version of the program.");
    for (const Series& each : m_series)
        text.sample(PrometheusText::joined(each.labels, each.access), 1);
    writeStates(text);
    writeFigures(text);
}

void RunMetrics::writeStates(PrometheusText& text) const {
    const auto samples = [&text](const Series& series, const char* name, const std::string& state,
                                 bool holds) {
        text.sample(PrometheusText::joined(series.labels, PrometheusText::label(name, state)), holds ? 1 : 0);
    };
    text.family("drivetest_run_result", "Result of the newest run of the test: 1 for the one that holds.");
    for (const Series& each : m_series)
        for (std::size_t result = 0; result < kResults; ++result)
            samples(each, "result", resultName(result), result == each.result);
    text.family("drivetest_grade", "Grade that the run gave its drive, where one was asked for.");
    for (const Series& each : m_series)
        for (char grade = kBestGrade; each.grade != 0 && grade <= kWorstGrade; ++grade)
            samples(each, "grade", std::string(1, grade), grade == each.grade);
}

void RunMetrics::writeFigures(PrometheusText& text) const {
    const auto samples = [this, &text](std::size_t column, const std::string& label) {
        for (const Series& each : m_series)
            if (!std::isnan(each.values[column]))
                text.sample(PrometheusText::joined(each.labels, label), each.values[column]);
    };
    std::size_t column = 0;
    std::string begun;
    for (const Metric& metric : kMetrics) {
        if (begun != metric.name)
            text.family(begun = metric.name, metric.help);
        samples(column++, metric.label);
    }
    for (const HealthCounter& counter : healthCounters()) {
        text.family(std::string("drivetest_health_") + counter.metric,
                    "What the drive said last: " + std::string(counter.label) + ".");
        samples(column++, "");
    }
}

}  // namespace drivetest
