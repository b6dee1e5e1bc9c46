#include <algorithm>
#include <iostream>

#include "drivetest/ExitStatus.h"
#include "drivetest/commands/Commands.h"
#include "drivetest/findings/DriveHistory.h"
#include "drivetest/findings/Figures.h"
#include "drivetest/findings/RunComparison.h"
#include "drivetest/health/HealthChanges.h"
#include "drivetest/terminal/Console.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::counted;
using zel::words;

constexpr std::size_t kMostShown = 20;

void say(const std::string& line) {
    std::cout << printable(line) << '\n';
}

void sayRanges(const std::vector<RunComparison::Range>& ranges) {
    for (std::size_t i = 0; i < std::min(ranges.size(), kMostShown); ++i)
        say("  " + rangeFigure(ranges[i].first, ranges[i].second));
    if (ranges.size() > kMostShown)
        say("  " + counted(ranges.size() - kMostShown, "and {n} more range", "and {n} more ranges"));
}

void sayWhatIsCompared(const RecordedRun& before, const RecordedRun& now) {
    for (const auto& [label, run] : {std::pair(words("before"), &before), {words("now"), &now}})
        say(words("{label}: {date}, {test}, {result}, bad sectors: {count}",
                  {{"label", label},
                   {"date", timeFigure(run->startTime)},
                   {"test", run->test},
                   {"result", run->isCutOff ? words("broken off") : run->result},
                   {"count", countFigure(run->badSectors())}}));
}

void sayBad(const RunComparison& comparison) {
    const std::uint64_t added = sectorsOf(comparison.newBad);
    if (added == 0) {
        say(words("No sector is bad that was not bad in the run before."));
    } else {
        say(counted(added, "{n} sector is bad that was not bad in the run before:",
                    "{n} sectors are bad that were not bad in the run before:"));
        sayRanges(comparison.newBad);
    }
    if (const std::uint64_t gone = sectorsOf(comparison.noMoreBad); gone != 0) {
        say(counted(gone, "{n} sector was bad in the run before and was not found bad this time:",
                    "{n} sectors were bad in the run before and were not found bad this time:"));
        sayRanges(comparison.noMoreBad);
    }
}

void saySlower(const RunComparison& comparison) {
    if (comparison.slower.empty())
        say(words("No region is slower by more than a fifth."));
    else
        say(words("Regions that are slower by more than a fifth"));
    for (std::size_t i = 0; i < std::min(comparison.slower.size(), kMostShown); ++i) {
        const RunComparison::SlowerRegion& region = comparison.slower[i];
        say("  " + rangeFigure(region.first, region.last) + "  " + rateFigure(region.before) + " -> " +
            rateFigure(region.now));
    }
    if (comparison.slower.size() > kMostShown)
        say("  " +
            counted(comparison.slower.size() - kMostShown, "and {n} more range", "and {n} more ranges"));
}

void saySlowerTransfers(const RunComparison& comparison) {
    if (comparison.slowerTransfers.empty())
        return;
    say(words("Sectors that became slow"));
    for (const RunComparison::SlowerTransfer& each : comparison.slowerTransfers)
        say("  " + rangeFigure(each.sectors.first, each.sectors.second) + "  " +
            latencyFigure(each.beforeUs) + " -> " + latencyFigure(each.nowUs));
}

/// As far as both runs asked for it in the same way.
void sayHealth(const RecordedRun& before, const RecordedRun& now) {
    const HealthFindings findings = changes(before.healthAfter ? before.healthAfter : before.healthBefore,
                                            now.healthAfter ? now.healthAfter : now.healthBefore);
    for (const HealthChange& change : findings.worse)
        say(words("By the drive's own account it is worse: {change}", {{"change", changeText(change)}}));
}

}  // namespace

int compareRecords(const std::vector<std::string>& records) {
    std::string problem;
    const std::vector<RecordedRun> runs = readHistory(records, problem);
    if (!problem.empty()) {
        complain(problem);
        return kExitUsage;
    }
    const RunComparison comparison = RunComparison::of(runs.front(), runs.back());
    sayWhatIsCompared(runs.front(), runs.back());
    sayBad(comparison);
    saySlower(comparison);
    saySlowerTransfers(comparison);
    sayHealth(runs.front(), runs.back());
    return comparison.newBad.empty() ? kExitPass : kExitFail;
}

}  // namespace drivetest
