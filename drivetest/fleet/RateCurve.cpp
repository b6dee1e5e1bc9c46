#include "drivetest/fleet/RateCurve.h"

#include <algorithm>

namespace drivetest {

namespace {

constexpr std::size_t kRegions = 32;
/// What is measured more shortly shows what else the machine did.
constexpr double kShortestUs = 50'000;
/// Nothing is faster; a record may say anything.
constexpr double kFastest = 1e9;

}  // namespace

std::optional<RateCurve> RateCurve::of(const RecordedRun& run) {
    const RegionRates rates = RegionRates::of(run, kRegions);
    for (const RegionRates::Direction& direction : rates.directions) {
        RateCurve curve{direction.kind, rates.sectorsPerRegion, rates.sectors, {}};
        for (const RecordedMoved& moved : direction.regions) {
            const double rate = moved.us >= kShortestUs ? moved.megabytesPerSecond() : 0;
            curve.megabytesPerSecond.push_back(rate <= kFastest ? static_cast<float>(rate) : 0);
        }
        if (std::ranges::any_of(curve.megabytesPerSecond, [](float rate) { return rate > 0; }))
            return curve;
    }
    return {};
}

}  // namespace drivetest
