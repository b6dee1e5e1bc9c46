#include "drivetest/plan/PlanTime.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "drivetest/plan/DriveMatch.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

/// MB/s, means over the whole drive.
constexpr double kDiskRate = 200;
constexpr std::pair<std::string_view, double> kRates[] = {
    {"hdd", kDiskRate}, {"ssd", 500}, {"nvme", 2000}, {"card", 50}};

double rateOf(const quix5::DiagDevice& device) {
    const auto* const known = std::ranges::find_if(
        kRates, [kind = kindOf(device)](const auto& each) { return kind == each.first; });
    return (known != std::end(kRates) ? known->second : kDiskRate) * 1e6;
}

}  // namespace

PlannedTime& PlannedTime::operator+=(const PlannedTime& other) {
    time += other.time;
    isLimit = isLimit || other.isLimit;
    isLeast = isLeast || other.isLeast;
    return *this;
}

std::optional<PlannedTime> timeOf(const ResolvedPlan::Test& test, const quix5::DiagDevice& device) {
    const std::chrono::duration<double> limit{test.checked->options.maxTime};
    std::optional<PlannedTime> time;
    if (test.outlook && test.outlook->bytes + test.outlook->seconds > 0)
        time = PlannedTime{
            std::chrono::duration<double>(test.outlook->bytes / rateOf(device) + test.outlook->seconds)};
    if (limit.count() > 0 && (!time || time->time > limit))
        time = PlannedTime{limit, true};
    return time;
}

PlannedTime timeOf(const ResolvedPlan::Drive& drive, unsigned repeats) {
    PlannedTime all;
    for (const ResolvedPlan::Test& test : drive.tests) {
        auto time = timeOf(test, drive.found.device).value_or(PlannedTime{{}, false, true});
        time.time *= test.checked->planned->repeats * repeats;
        all += time;
    }
    return all;
}

std::string timeText(const PlannedTime& time) {
    const std::string text = forecastText(std::chrono::duration_cast<std::chrono::nanoseconds>(time.time));
    if (time.isLeast)
        return time.time.count() > 0 && !time.isLimit ? words("at least {time}", {{"time", text}})
                                                      : words("not known");
    return time.isLimit ? words("at most {time}", {{"time", text}}) : words("about {time}", {{"time", text}});
}

std::string describeAssumedRates() {
    std::string rates;
    for (const auto& [kind, rate] : kRates)
        rates += (rates.empty() ? "" : ", ") + std::string(kind) + " " +
                 std::to_string(static_cast<unsigned>(rate)) + " MB/s";
    return words(
        "Times are reckoned from what a test transfers, at rates that are assumed and not measured "
        "({rates}; others as hdd), and from max-time.",
        {{"rates", rates}});
}

}  // namespace drivetest
