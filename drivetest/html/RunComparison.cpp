#include "drivetest/html/RunComparison.h"

#include <algorithm>
#include <optional>

#include "drivetest/html/RegionRates.h"

namespace drivetest {

namespace {

using Range = RunComparison::Range;

constexpr std::size_t kRegions = 256;
/// What is slower by less comes and goes with what else the machine does.
constexpr double kSlower = 0.8;

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

/// Of the earlier run's regions, the rate where the sector lies.
std::optional<double> rateAt(const std::vector<RecordedRegion>& regions, std::uint64_t sector) {
    const auto found = std::find_if(regions.begin(), regions.end(), [sector](const RecordedRegion& region) {
        return region.first <= sector && sector <= region.last;
    });
    if (found == regions.end() || found->megabytesPerSecond <= 0)
        return {};
    return found->megabytesPerSecond;
}

std::vector<RunComparison::SlowerRegion> slowerRegions(const RecordedRun& before, const RecordedRun& now) {
    const std::vector<RecordedRegion> earlier = regionRates(before, kRegions);
    std::vector<RunComparison::SlowerRegion> slower;
    for (const RecordedRegion& region : regionRates(now, kRegions)) {
        const auto rate = rateAt(earlier, region.first + (region.last - region.first) / 2);
        if (rate && region.megabytesPerSecond > 0 && region.megabytesPerSecond < kSlower * *rate)
            slower.push_back({region.first, region.last, *rate, region.megabytesPerSecond});
    }
    return slower;
}

}  // namespace

RunComparison RunComparison::of(const RecordedRun& before, const RecordedRun& now) {
    const std::vector<Range> earlier = joined(before.bad);
    const std::vector<Range> found = joined(now.bad);
    return {without(found, earlier), without(earlier, found), slowerRegions(before, now)};
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
