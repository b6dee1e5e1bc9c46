#include "drivetest/grade/GradeLimits.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "drivetest/findings/SlowestRegion.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using Measure = std::optional<GradeMeasure>;
using Counter = std::optional<std::uint64_t> RecordedHealth::*;
using Sense = GradeLimit::Sense;
using Unit = GradeLimit::Unit;
using zel::marked;

constexpr std::array<std::string_view, 3> kResults = {"PASS", "WARN", "FAIL"};

Measure of(std::uint64_t count) {
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
const RecordedHealth* lastHealth(const RecordedRun& run) {
    if (run.health.after)
        return &*run.health.after;
    return run.health.before ? &*run.health.before : nullptr;
}

Measure predictsFailure(const RecordedRun& run) {
    Measure predicted;
    for (const auto* const health : {&run.health.before, &run.health.after})
        if (*health && (*health)->predictsFailure)
            predicted = of((predicted && predicted->value != 0) || *(*health)->predictsFailure ? 1 : 0);
    return predicted;
}

template <Counter counter>
Measure last(const RecordedRun& run) {
    const RecordedHealth* const health = lastHealth(run);
    return health != nullptr && health->*counter ? of(*(health->*counter)) : Measure();
}

template <Counter counter>
Measure risen(const RecordedRun& run) {
    const auto& [before, after] = run.health;
    if (!before || !after || !((*before).*counter) || !((*after).*counter))
        return {};
    const std::uint64_t then = *((*before).*counter);
    return of(*((*after).*counter) - std::min(then, *((*after).*counter)));
}

/// The higher of the two moments.
Measure temperature(const RecordedRun& run) {
    Measure highest;
    for (const auto* const health : {&run.health.before, &run.health.after})
        if (*health && (*health)->temperature)
            highest = GradeMeasure{
                std::max(highest ? highest->value : 0, static_cast<double>(*(*health)->temperature))};
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
     last<&RecordedHealth::reallocatedSectors>},
    {"pending-sectors", Sense::atMost, Unit::count, marked("Sectors waiting to be reallocated"), true,
     last<&RecordedHealth::pendingSectors>},
    {"uncorrectable-sectors", Sense::atMost, Unit::count, marked("Uncorrectable sectors"), true,
     last<&RecordedHealth::uncorrectableSectors>},
    {"crc-errors", Sense::atMost, Unit::count, marked("CRC errors of the link"), true,
     last<&RecordedHealth::crcErrors>},
    {"media-errors", Sense::atMost, Unit::count, marked("Media errors"), true,
     last<&RecordedHealth::mediaErrors>},
    {"spare-percent", Sense::atLeast, Unit::percent, marked("Spare blocks left"), true,
     last<&RecordedHealth::spareLeft>},
    {"wear-percent", Sense::atMost, Unit::percent, marked("Wear"), true, last<&RecordedHealth::wear>},
    {"temperature", Sense::atMost, Unit::celsius, marked("Highest temperature"), true, temperature},
    {"power-on-hours", Sense::atMost, Unit::hours, marked("Hours of operation"), true,
     last<&RecordedHealth::powerOnHours>},
    {"new-reallocated-sectors", Sense::atMost, Unit::count, marked("Sectors reallocated during the test"),
     true, risen<&RecordedHealth::reallocatedSectors>},
    {"new-pending-sectors", Sense::atMost, Unit::count,
     marked("More sectors waiting to be reallocated than before the test"), true,
     risen<&RecordedHealth::pendingSectors>},
    {"new-uncorrectable-sectors", Sense::atMost, Unit::count,
     marked("More uncorrectable sectors than before the test"), true,
     risen<&RecordedHealth::uncorrectableSectors>},
    {"new-crc-errors", Sense::atMost, Unit::count, marked("CRC errors of the link during the test"), true,
     risen<&RecordedHealth::crcErrors>},
    {"new-media-errors", Sense::atMost, Unit::count, marked("Media errors during the test"), true,
     risen<&RecordedHealth::mediaErrors>},
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
