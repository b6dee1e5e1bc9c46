#include "drivetest/findings/RegionRates.h"

#include <algorithm>

namespace drivetest {

namespace {

using Kind = RegionRates::Direction::Kind;

/// What stands in for the bytes of a cell, which the record does not tell: all cells are of one size.
constexpr double kCellBytes = 1;

std::vector<RecordedMoved> movedInCells(const RecordedSurface& surface) {
    std::vector<RecordedMoved> moved(surface.megabytesPerSecond.size());
    for (std::size_t cell = 0; cell < moved.size(); ++cell)
        if (const auto rate = static_cast<double>(surface.megabytesPerSecond[cell]); rate > 0)
            moved[cell] = {kCellBytes, kCellBytes / 1.048576 / rate};
    return moved;
}

std::vector<RecordedMoved> merged(const std::vector<RecordedMoved>& parts, std::size_t size) {
    std::vector<RecordedMoved> sums((parts.size() + size - 1) / size);
    for (std::size_t i = 0; i < parts.size(); ++i) {
        sums[i / size].bytes += parts[i].bytes;
        sums[i / size].us += parts[i].us;
    }
    return sums;
}

/// As the record has them.
RegionRates recordedRates(const RecordedRun& run) {
    RegionRates rates;
    if (run.regions) {
        rates.sectorsPerRegion = run.regions->sectorsPerRegion;
        rates.directions = {{Kind::read, run.regions->read}, {Kind::written, run.regions->written}};
    } else if (run.surface) {
        rates.sectorsPerRegion = run.surface->sectorsPerCell;
        rates.directions = {{Kind::both, movedInCells(*run.surface)}};
    }
    std::erase_if(rates.directions, [](const RegionRates::Direction& direction) {
        return std::none_of(direction.regions.begin(), direction.regions.end(),
                            [](const RecordedMoved& moved) { return moved.us > 0; });
    });
    return rates;
}

}  // namespace

RegionRates RegionRates::of(const RecordedRun& run, std::size_t most) {
    RegionRates rates = recordedRates(run);
    if (rates.directions.empty())
        return rates;
    const std::size_t parts = rates.directions.front().regions.size();
    const std::size_t size = std::max<std::size_t>(1, (parts + most - 1) / most);
    rates.sectors = run.drive.sectors != 0 ? run.drive.sectors : parts * rates.sectorsPerRegion;
    rates.sectorsPerRegion *= size;
    for (Direction& direction : rates.directions)
        direction.regions = merged(direction.regions, size);
    return rates;
}

std::uint64_t RegionRates::lastSector(std::size_t region) const {
    const std::uint64_t end = firstSector(region + 1);
    return std::max(firstSector(region), std::min(end, std::max<std::uint64_t>(sectors, 1)) - 1);
}

}  // namespace drivetest
