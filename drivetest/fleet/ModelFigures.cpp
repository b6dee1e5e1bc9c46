#include "drivetest/fleet/ModelFigures.h"

#include <algorithm>
#include <map>
#include <tuple>
#include <utility>

namespace drivetest {

namespace {

/// As RunComparison has it: what is slower by less comes and goes.
constexpr double kSlower = 0.8;

/// Of an even number the mean of both in the middle; values are not empty.
template <class Number>
Number median(std::vector<Number> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    if (values.size() % 2 == 1)
        return *middle;
    return (*middle + *std::max_element(values.begin(), middle)) / 2;
}

/// Drives whose parts of equal number are the same.
using Kin = std::tuple<std::string, RegionRates::Direction::Kind, std::uint64_t, std::uint64_t>;

Kin kinOf(const FleetDrive& drive) {
    return {drive.drive.model, drive.rates->kind, drive.rates->sectors, drive.rates->sectorsPerRegion};
}

/// The median of each part; 0 where too few drives were measured there.
std::vector<float> usualRates(const std::vector<const FleetDrive*>& drives) {
    std::vector<float> usual;
    for (std::size_t part = 0;; ++part) {
        std::vector<float> rates;
        bool isBeyondAll = true;
        for (const FleetDrive* const drive : drives) {
            const std::vector<float>& own = drive->rates->megabytesPerSecond;
            isBeyondAll = isBeyondAll && part >= own.size();
            if (part < own.size() && own[part] > 0)
                rates.push_back(own[part]);
        }
        if (isBeyondAll)
            return usual;
        usual.push_back(rates.size() >= kFewestOfModel ? median(std::move(rates)) : 0);
    }
}

std::optional<SlowPart> slowestPart(const FleetDrive& drive, const std::vector<float>& usual) {
    std::optional<SlowPart> slowest;
    const RateCurve& curve = *drive.rates;
    for (std::size_t part = 0; part < curve.megabytesPerSecond.size(); ++part) {
        const double rate = static_cast<double>(curve.megabytesPerSecond[part]);
        const double expected = static_cast<double>(usual[part]);
        if (rate <= 0 || expected <= 0 || rate >= kSlower * expected ||
            (slowest && rate / expected >= slowest->rate / slowest->usual))
            continue;
        const std::uint64_t first = part * curve.sectorsPerRegion;
        slowest = SlowPart{&drive, first,
                           std::max(first, std::min(first + curve.sectorsPerRegion, curve.sectors) - 1), rate,
                           expected};
    }
    return slowest;
}

}  // namespace

std::vector<ModelFigures> figuresOfModels(const std::vector<FleetDrive>& drives) {
    std::map<std::pair<std::string, std::string>, std::pair<ModelFigures, std::vector<double>>> models;
    for (const FleetDrive& drive : drives) {
        auto& [figures, rates] = models[{drive.drive.model, drive.drive.firmware}];
        figures.model = drive.drive.model;
        figures.firmware = drive.drive.firmware;
        ++figures.drives;
        figures.drivesWithBad += drive.badSectors > 0 ? 1 : 0;
        figures.badSectors += drive.badSectors;
        if (drive.readRate)
            rates.push_back(*drive.readRate);
    }
    std::vector<ModelFigures> all;
    for (auto& [key, each] : models) {
        if (!each.second.empty())
            each.first.medianRate = median(std::move(each.second));
        all.push_back(std::move(each.first));
    }
    std::ranges::stable_sort(all, [](const ModelFigures& a, const ModelFigures& b) {
        return std::tuple(a.drivesWithBad, a.badSectors, a.drives) >
               std::tuple(b.drivesWithBad, b.badSectors, b.drives);
    });
    return all;
}

std::vector<SlowPart> slowParts(const std::vector<FleetDrive>& drives, std::size_t& compared) {
    std::map<Kin, std::vector<const FleetDrive*>> kin;
    for (const FleetDrive& drive : drives)
        if (drive.rates)
            kin[kinOf(drive)].push_back(&drive);
    std::vector<SlowPart> parts;
    compared = 0;
    for (const auto& [key, members] : kin) {
        if (members.size() < kFewestOfModel)
            continue;
        compared += members.size();
        const std::vector<float> usual = usualRates(members);
        for (const FleetDrive* const member : members)
            if (const auto part = slowestPart(*member, usual))
                parts.push_back(*part);
    }
    std::ranges::stable_sort(parts, {}, [](const SlowPart& part) { return part.rate / part.usual; });
    return parts;
}

}  // namespace drivetest
