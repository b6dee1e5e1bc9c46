#include "drivetest/fleet/Fleet.h"

#include <algorithm>
#include <utility>

#include "drivetest/findings/RunComparison.h"

namespace drivetest {

namespace {

const std::optional<HealthReading>& healthOf(const RecordedRun& run) {
    return run.healthAfter ? run.healthAfter : run.healthBefore;
}

std::optional<Worsening> worsened(const TestHistory& history) {
    if (!history.before)
        return {};
    const RecordedRun& before = *history.before;
    const RecordedRun& now = history.newest;
    const RunComparison comparison = RunComparison::of(before, now);
    Worsening worsening{now.test,
                        before.file,
                        now.file,
                        sectorsOf(comparison.newBad),
                        comparison.slower.size(),
                        1,
                        changes(healthOf(before), healthOf(now)).worse};
    for (const RunComparison::SlowerRegion& region : comparison.slower)
        worsening.slowestShare = std::min(worsening.slowestShare, region.now / region.before);
    const bool isAnything = worsening.newBad > 0 || worsening.slowerRegions > 0 || !worsening.health.empty();
    return isAnything ? std::optional(std::move(worsening)) : std::nullopt;
}

/// What is newer takes the place of what is older, where it tells of it.
void takeNewer(const RecordedRun& run, FleetDrive& drive) {
    drive.lastTime = run.lastTime;
    if (run.drive.sectors != 0 || drive.drive.sectors == 0)
        drive.drive = run.drive;
    if (const RecordedMeasurement* const rate = run.measurement("readRate"))
        drive.readRate = rate->value;
    if (const auto& health = healthOf(run); health && health->health.powerOnHours)
        drive.powerOnHours = health->health.powerOnHours;
    if (auto rates = RateCurve::of(run))
        drive.rates = std::move(rates);
}

void take(const TestHistory& history, FleetDrive& drive) {
    const RecordedRun& run = history.newest;
    const std::size_t result = resultOf(run);
    if (drive.runs == 0 || severityOf(result) > severityOf(drive.result)) {
        drive.test = run.test;
        drive.result = result;
        drive.record = run.file;
    }
    drive.runs += 1 + history.older;
    drive.badSectors = std::max(drive.badSectors, run.badSectors());
    takeNewer(run, drive);
    if (auto worsening = worsened(history))
        drive.worse.push_back(*std::move(worsening));
}

}  // namespace

void Fleet::add(const std::vector<TestHistory>& histories) {
    if (histories.empty())
        return;
    std::vector<const TestHistory*> byTime;
    for (const TestHistory& history : histories)
        byTime.push_back(&history);
    std::ranges::stable_sort(byTime, {}, [](const TestHistory* each) { return each->newest.startTime; });
    FleetDrive& drive = m_drives.emplace_back();
    for (const TestHistory* const history : byTime)
        take(*history, drive);
    m_runs += drive.runs;
}

std::array<std::size_t, kResults> Fleet::results() const {
    std::array<std::size_t, kResults> counts{};
    for (const FleetDrive& drive : m_drives)
        ++counts.at(drive.result);
    return counts;
}

}  // namespace drivetest
