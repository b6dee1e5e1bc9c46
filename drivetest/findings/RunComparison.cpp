#include "drivetest/findings/RunComparison.h"

#include <algorithm>

#include "drivetest/findings/RegionRates.h"

namespace drivetest {

namespace {

using Range = RunComparison::Range;

constexpr std::size_t kRegions = 256;
/// What is slower by less comes and goes with what else the machine does.
constexpr double kSlower = 0.8;
constexpr double kSlowUs = 150'000;

/// Ranges that touch are one.
std::vector<Range> joined(const std::vector<RecordedBad>& bad) {
    std::vector<Range> ranges;
    for (const RecordedBad& each : bad)
        if (!ranges.empty() && each.first <= ranges.back().second + 1)
            ranges.back().second = std::max(ranges.back().second, each.last);
        else
            ranges.emplace_back(each.first, each.last);
    return ranges;
}

/// What of `all` is not in `known`.
std::vector<Range> without(const std::vector<Range>& all, const std::vector<Range>& known) {
    std::vector<Range> left;
    auto next = known.begin();
    for (const auto& [first, last] : all) {
        std::uint64_t from = first;
        while (next != known.end() && next->second < from)
            ++next;
        for (auto hole = next; hole != known.end() && hole->first <= last && from <= last; ++hole) {
            if (hole->first > from)
                left.emplace_back(from, hole->first - 1);
            from = hole->second + 1;
        }
        if (from <= last)
            left.emplace_back(from, last);
    }
    return left;
}

/// The same direction of the earlier run; null for none.
const RegionRates::Direction* find(const RegionRates& rates, RegionRates::Direction::Kind kind) {
    const auto found = std::find_if(rates.directions.begin(), rates.directions.end(),
                                    [kind](const auto& direction) { return direction.kind == kind; });
    return found != rates.directions.end() ? &*found : nullptr;
}

/// Where the sector lies; 0 where nothing was measured.
double rateAt(const RegionRates& rates, const RegionRates::Direction& direction, std::uint64_t sector) {
    const std::uint64_t region = sector / std::max<std::uint64_t>(1, rates.sectorsPerRegion);
    return region < direction.regions.size() ? direction.regions[region].megabytesPerSecond() : 0;
}

std::vector<RunComparison::SlowerRegion> slowerRegions(const RecordedRun& before, const RecordedRun& now) {
    const RegionRates earlier = RegionRates::of(before, kRegions);
    const RegionRates rates = RegionRates::of(now, kRegions);
    std::vector<RunComparison::SlowerRegion> slower;
    for (const RegionRates::Direction& direction : rates.directions) {
        const RegionRates::Direction* const known = find(earlier, direction.kind);
        for (std::size_t i = 0; known != nullptr && i < direction.regions.size(); ++i) {
            const auto [first, last] = std::pair(rates.firstSector(i), rates.lastSector(i));
            const double then = rateAt(earlier, *known, first + (last - first) / 2);
            const double rate = direction.regions[i].megabytesPerSecond();
            if (then > 0 && rate > 0 && rate < kSlower * then)
                slower.push_back({first, last, then, rate});
        }
    }
    return slower;
}

/// Of the cells that hold these sectors; 0 where nothing was measured.
double slowestUsAt(const RecordedSurface& surface, const RecordedTransfer& sectors) {
    double slowest = 0;
    for (std::uint64_t at = sectors.first / surface.sectorsPerCell;
         at < surface.slowestUs.size() && surface.firstSector(at) <= sectors.last; ++at)
        slowest = std::max<double>(slowest, surface.slowestUs[at]);
    return slowest;
}

std::vector<RunComparison::SlowerTransfer> findSlowerTransfers(const RecordedRun& before,
                                                               const RecordedRun& now) {
    std::vector<RunComparison::SlowerTransfer> slower;
    if (!before.surface || before.surface->sectorsPerCell == 0 || !now.slowness)
        return slower;
    for (const RecordedTransfer& each : now.slowness->slowest)
        if (const double then = slowestUsAt(*before.surface, each);
            each.durationUs > kSlowUs && then > 0 && each.durationUs > 2 * then)
            slower.push_back({{each.first, each.last}, then, each.durationUs});
    return slower;
}

}  // namespace

RunComparison RunComparison::of(const RecordedRun& before, const RecordedRun& now) {
    const std::vector<Range> earlier = joined(before.bad);
    const std::vector<Range> found = joined(now.bad);
    return {without(found, earlier), without(earlier, found), slowerRegions(before, now),
            findSlowerTransfers(before, now)};
}

std::uint64_t sectorsOf(const std::vector<Range>& ranges) {
    std::uint64_t count = 0;
    for (const auto& [first, last] : ranges)
        count += last - first + 1;
    return count;
}

bool isSameDrive(const RecordedDrive& a, const RecordedDrive& b) {
    if (a.serial.empty() && b.serial.empty())
        return a.location == b.location;
    return a.serial == b.serial && a.model == b.model;
}

}  // namespace drivetest
