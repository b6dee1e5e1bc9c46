#include "drivetest/html/RegionRates.h"

#include <algorithm>

namespace drivetest {

namespace {

/// Of parts of equal size: what was moved over the time that it took.
class MeanRate {
public:
    void add(double rate) {
        if (rate <= 0)
            return;
        ++m_parts;
        m_time += 1 / rate;
    }
    [[nodiscard]] double value() const { return m_parts > 0 ? m_parts / m_time : 0; }

private:
    double m_parts = 0;
    double m_time = 0;
};

std::size_t groupSize(std::size_t parts, std::size_t most) {
    return std::max<std::size_t>(1, (parts + most - 1) / most);
}

std::vector<RecordedRegion> mergedRegions(const std::vector<RecordedRegion>& regions, std::size_t most) {
    const std::size_t size = groupSize(regions.size(), most);
    std::vector<RecordedRegion> merged;
    for (std::size_t i = 0; i < regions.size(); i += size) {
        MeanRate rate;
        const std::size_t end = std::min(i + size, regions.size());
        for (std::size_t j = i; j < end; ++j)
            rate.add(regions[j].megabytesPerSecond);
        merged.push_back({regions[i].first, regions[end - 1].last, rate.value()});
    }
    return merged;
}

}  // namespace

std::vector<float> mergedRates(const RecordedSurface& surface, std::size_t cellsPerRate) {
    const std::vector<float>& cells = surface.megabytesPerSecond;
    std::vector<float> rates;
    for (std::size_t i = 0; i < cells.size(); i += cellsPerRate) {
        MeanRate rate;
        for (std::size_t j = i; j < std::min(i + cellsPerRate, cells.size()); ++j)
            rate.add(cells[j]);
        rates.push_back(static_cast<float>(rate.value()));
    }
    return rates;
}

std::vector<RecordedRegion> regionRates(const RecordedRun& run, std::size_t most) {
    if (!run.regions.empty())
        return mergedRegions(run.regions, most);
    if (!run.surface)
        return {};
    const std::size_t size = groupSize(run.surface->cells(), most);
    const std::vector<float> rates = mergedRates(*run.surface, size);
    std::vector<RecordedRegion> regions;
    for (std::size_t i = 0; i < rates.size(); ++i)
        regions.push_back({run.surface->firstSector(i * size),
                           run.surface->firstSector(std::min((i + 1) * size, run.surface->cells())) - 1,
                           static_cast<double>(rates[i])});
    const bool isMeasured = std::any_of(regions.begin(), regions.end(), [](const RecordedRegion& region) {
        return region.megabytesPerSecond > 0;
    });
    return isMeasured ? regions : std::vector<RecordedRegion>();
}

}  // namespace drivetest
