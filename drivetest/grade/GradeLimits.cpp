#include "drivetest/grade/GradeLimits.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "drivetest/findings/SlowestRegion.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using Measure = std::optional<GradeMeasure>;
using libDrive2::DriveHealth;
using Counter = DriveHealth::Number DriveHealth::*;
using Sense = GradeLimit::Sense;
using Unit = GradeLimit::Unit;
using zel::marked;

constexpr std::array<std::string_view, 3> kResults = {"PASS", "WARN", "FAIL"};

template <typename Number>
Measure of(Number count) {
    return GradeMeasure{static_cast<double>(count)};
}

Measure share(std::uint64_t part, std::uint64_t whole) {
    if (whole == 0)
        return {};
    return GradeMeasure{std::min(100.0, 100 * static_cast<double>(part) / static_cast<double>(whole))};
}

std::uint64_t failedOf(const RecordedRun& run) {
    return std::max(run.badSectors(), run.coverage ? run.coverage->failed : 0);
}

Measure failedSectors(const RecordedRun& run) {
    return of(failedOf(run));
}

Measure failedShare(const RecordedRun& run) {
    if (!run.coverage)
        return {};
    return share(failedOf(run), run.coverage->tested + run.coverage->failed);
}

Measure wrongSectors(const RecordedRun& run) {
    std::uint64_t wrong = 0;
    for (const RecordedBad& bad : run.bad)
        if (run.badCauses[bad.cause].fault == "wrongData")
            wrong += bad.last - bad.first + 1;
    return of(wrong);
}

Measure slowTransfers(const RecordedRun& run) {
    return run.slowness ? of(run.slowness->over150ms) : Measure();
}

Measure verySlowTransfers(const RecordedRun& run) {
    return run.slowness ? of(run.slowness->over500ms) : Measure();
}

Measure recoveredTransfers(const RecordedRun& run) {
    if (run.attempts.empty())
        return {};
    std::uint64_t recovered = 0;
    for (const RecordedAttempts& attempts : run.attempts)
        recovered += attempts.recovered;
    return of(recovered);
}

Measure slowestRegion(const RecordedRun& run) {
    const auto slowest = SlowestRegion::of(run);
    if (!slowest)
        return {};
    return GradeMeasure{slowest->percent, std::pair(slowest->first, slowest->last)};
}

Measure testedShare(const RecordedRun& run) {
    if (!run.coverage || run.drive.sectors == 0)
        return {};
    return share(run.coverage->tested + run.coverage->failed, run.drive.sectors);
}

Measure resultOf(const RecordedRun& run) {
    const auto number = resultNumber(run.result);
    return number ? Measure(GradeMeasure{*number}) : Measure();
}

/// What the drive told last.
const DriveHealth* lastHealth(const RecordedRun& run) {
    if (run.healthAfter)
        return &run.healthAfter->health;
    return run.healthBefore ? &run.healthBefore->health : nullptr;
}

Measure predictsFailure(const RecordedRun& run) {
    Measure predicted;
    for (const auto* const reading : {&run.healthBefore, &run.healthAfter})
        if (*reading && (*reading)->health.predictsFailure)
            predicted =
                of((predicted && predicted->value != 0) || *(*reading)->health.predictsFailure ? 1 : 0);
    return predicted;
}

template <Counter counter>
Measure last(const RecordedRun& run) {
    const DriveHealth* const health = lastHealth(run);
    const auto number = health != nullptr ? health->*counter : std::nullopt;
    return number ? of(*number) : Measure();
}

template <Counter counter>
Measure risen(const RecordedRun& run) {
    const auto& before = run.healthBefore;
    const auto& after = run.healthAfter;
    if (!before || !after || before->isBySmartctl != after->isBySmartctl)
        return {};
    const auto was = before->health.*counter;
    const auto is = after->health.*counter;
    return was && is ? of(std::max<std::int64_t>(*is - *was, 0)) : Measure();
}

/// The highest that is known.
Measure temperature(const RecordedRun& run) {
    Measure highest = run.heat ? of(run.heat->highest) : Measure();
    for (const auto* const reading : {&run.healthBefore, &run.healthAfter})
        if (*reading && (*reading)->health.temperatureC)
            highest = GradeMeasure{std::max(highest ? highest->value : 0,
                                            static_cast<double>(*(*reading)->health.temperatureC))};
    return highest;
}

constexpr GradeLimit kLimits[] = {
    {"result", Sense::atMost, Unit::result, marked("Result of the test"), false, resultOf},
    {"failed-sectors", Sense::atMost, Unit::count, marked("Failed sectors"), false, failedSectors},
    {"failed-percent", Sense::atMost, Unit::percent, marked("Failed share of the tested sectors"), false,
     failedShare},
    {"wrong-data-sectors", Sense::atMost, Unit::count, marked("Sectors that gave wrong data"), false,
     wrongSectors},
    {"recovered-transfers", Sense::atMost, Unit::count,
     marked("Transfers that succeeded only after further attempts"), false, recoveredTransfers},
    {"slow-transfers", Sense::atMost, Unit::count, marked("Transfers over 150 ms"), false, slowTransfers},
    {"very-slow-transfers", Sense::atMost, Unit::count, marked("Transfers over 500 ms"), false,
     verySlowTransfers},
    {"slowest-region-percent", Sense::atLeast, Unit::percent,
     marked("Speed of the slowest region beside what the others let expect there"), false, slowestRegion},
    {"tested-percent", Sense::atLeast, Unit::percent, marked("Tested share of the drive"), false,
     testedShare},
    {"predicts-failure", Sense::atMost, Unit::flag, marked("Prediction of its own failure"), true,
     predictsFailure},
    {"reallocated-sectors", Sense::atMost, Unit::count, marked("Reallocated sectors"), true,
     last<&DriveHealth::reallocatedSectors>},
    {"pending-sectors", Sense::atMost, Unit::count, marked("Sectors waiting to be reallocated"), true,
     last<&DriveHealth::pendingSectors>},
    {"uncorrectable-sectors", Sense::atMost, Unit::count, marked("Uncorrectable sectors"), true,
     last<&DriveHealth::uncorrectableSectors>},
    {"crc-errors", Sense::atMost, Unit::count, marked("CRC errors of the link"), true,
     last<&DriveHealth::crcErrors>},
    {"media-errors", Sense::atMost, Unit::count, marked("Media errors"), true,
     last<&DriveHealth::mediaErrors>},
    {"spare-percent", Sense::atLeast, Unit::percent, marked("Spare blocks left"), true,
     last<&DriveHealth::spareLeftPercent>},
    {"wear-percent", Sense::atMost, Unit::percent, marked("Wear"), true, last<&DriveHealth::wearPercent>},
    {"temperature", Sense::atMost, Unit::celsius, marked("Highest temperature"), true, temperature},
    {"power-on-hours", Sense::atMost, Unit::hours, marked("Hours of operation"), true,
     last<&DriveHealth::powerOnHours>},
    {"new-reallocated-sectors", Sense::atMost, Unit::count, marked("Sectors reallocated during the test"),
     true, risen<&DriveHealth::reallocatedSectors>},
    {"new-pending-sectors", Sense::atMost, Unit::count,
     marked("More sectors waiting to be reallocated than before the test"), true,
     risen<&DriveHealth::pendingSectors>},
    {"new-uncorrectable-sectors", Sense::atMost, Unit::count,
     marked("More uncorrectable sectors than before the test"), true,
     risen<&DriveHealth::uncorrectableSectors>},
    {"new-crc-errors", Sense::atMost, Unit::count, marked("CRC errors of the link during the test"), true,
     risen<&DriveHealth::crcErrors>},
    {"new-media-errors", Sense::atMost, Unit::count, marked("Media errors during the test"), true,
     risen<&DriveHealth::mediaErrors>},
};

}  // namespace

std::span<const GradeLimit> gradeLimits() {
    return kLimits;
}

const GradeLimit* findGradeLimit(std::string_view key) {
    const auto* const found =
        std::ranges::find_if(kLimits, [key](const GradeLimit& limit) { return key == limit.key; });
    return found != std::end(kLimits) ? found : nullptr;
}

std::optional<double> resultNumber(std::string_view result) {
    const auto* const found = std::ranges::find(kResults, result);
    if (found == kResults.end())
        return {};
    return static_cast<double>(found - kResults.begin());
}

std::string resultName(double number) {
    return std::string(kResults[static_cast<std::size_t>(
        std::clamp(number, 0.0, static_cast<double>(kResults.size() - 1)))]);
}

}  // namespace drivetest
