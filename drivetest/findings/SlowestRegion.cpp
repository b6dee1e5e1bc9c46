#include "drivetest/findings/SlowestRegion.h"

#include <algorithm>
#include <vector>

#include "drivetest/findings/RegionRates.h"

namespace drivetest {

namespace {

constexpr std::size_t kRegions = 128;
constexpr std::size_t kFewest = 8;
/// What is measured more shortly shows what else the machine did.
constexpr double kShortestUs = 50'000;
/// Nothing is faster; a record may say anything.
constexpr double kFastest = 1e9;

struct Point {
    std::size_t region;
    double rate;
};

std::vector<Point> pointsOf(const RegionRates::Direction& direction) {
    std::vector<Point> points;
    for (std::size_t i = 0; i < direction.regions.size(); ++i)
        if (const double rate = direction.regions[i].megabytesPerSecond();
            direction.regions[i].us >= kShortestUs && rate <= kFastest)
            points.push_back({i, rate});
    return points;
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// The fall of the rate over the drive as a line: the median of the slopes between all pairs of regions, and
/// of what is left then. Up to a quarter of the regions may be far off without bending it.
class Fall {
public:
    explicit Fall(const std::vector<Point>& points) {
        std::vector<double> slopes;
        slopes.reserve(points.size() * points.size() / 2);
        for (std::size_t i = 0; i < points.size(); ++i)
            for (std::size_t j = i + 1; j < points.size(); ++j)
                slopes.push_back((points[j].rate - points[i].rate) /
                                 static_cast<double>(points[j].region - points[i].region));
        m_slope = median(std::move(slopes));
        std::vector<double> rests;
        rests.reserve(points.size());
        for (const Point& point : points)
            rests.push_back(point.rate - m_slope * static_cast<double>(point.region));
        m_start = median(std::move(rests));
    }

    [[nodiscard]] double at(std::size_t region) const {
        return m_start + m_slope * static_cast<double>(region);
    }

private:
    double m_slope;
    double m_start;
};

}  // namespace

std::optional<SlowestRegion> SlowestRegion::of(const RecordedRun& run) {
    std::optional<SlowestRegion> slowest;
    const RegionRates rates = RegionRates::of(run, kRegions);
    for (const RegionRates::Direction& direction : rates.directions) {
        const std::vector<Point> points = pointsOf(direction);
        if (points.size() < kFewest)
            continue;
        const Fall fall(points);
        for (const Point& point : points) {
            const double percent = fall.at(point.region) > 0 ? 100 * point.rate / fall.at(point.region) : 100;
            if (!slowest || percent < slowest->percent)
                slowest = {rates.firstSector(point.region), rates.lastSector(point.region), percent};
        }
    }
    if (slowest)
        slowest->percent = std::min(slowest->percent, 100.0);
    return slowest;
}

}  // namespace drivetest
