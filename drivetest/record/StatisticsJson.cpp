#include "drivetest/record/StatisticsJson.h"

#include <cmath>
#include <utility>

namespace drivetest {

namespace {

/// A line of the record stays short enough to be looked at.
constexpr std::size_t kMostRanges = 5000;

/// Three digits after the point say all there is to say.
double rounded(double value) {
    return std::round(value * 1000) / 1000;
}

double microseconds(std::chrono::nanoseconds duration) {
    return rounded(std::chrono::duration<double, std::micro>(duration).count());
}

/// The values of all cells as [value, run length] pairs.
template <class ValueOf>
Json runLengths(const std::vector<SurfaceMap::Cell>& cells, ValueOf valueOf) {
    Json runs = Json::array();
    for (const SurfaceMap::Cell& cell : cells) {
        Json value = valueOf(cell);
        if (!runs.empty() && runs.back()[0] == value)
            runs.back()[1] = runs.back()[1].get<std::uint64_t>() + 1;
        else
            runs.push_back(Json::array({std::move(value), 1}));
    }
    return runs;
}

}  // namespace

Json coverageJson(const Coverage& coverage) {
    return {{"unit", nameOf(coverage.unit)},
            {"requested", coverage.requested},
            {"tested", coverage.tested},
            {"failed", coverage.failed},
            {"skipped", coverage.skipped}};
}

Json surfaceJson(const SurfaceMap& surface, std::uint32_t sectorBytes) {
    const auto& cells = surface.cells();
    const auto outcome = [](const auto& cell) { return Json(static_cast<int>(cell.outcome)); };
    const auto slowest = [](const auto& cell) {
        return cell.slowest.count() > 0 ? Json(microseconds(cell.slowest)) : Json();
    };
    const auto rate = [sectorBytes](const auto& cell) {
        return cell.seconds > 0 ? Json(rounded(cell.sectors * sectorBytes / kBytesPerMegabyte / cell.seconds))
                                : Json();
    };
    return {{"sectorsPerCell", surface.sectorsPerCell()},
            {"cells", cells.size()},
            {"outcomes", runLengths(cells, outcome)},
            {"slowestUs", runLengths(cells, slowest)},
            {"megabytesPerSecond", runLengths(cells, rate)}};
}

std::vector<Json> badSectorsJson(const BadSectors& bad) {
    std::vector<Json> parts;
    std::vector<Json> open(bad.causes().size());
    for (const auto& [first, span] : bad.spans()) {
        Json& part = open[span.cause];
        if (part.is_null())
            part = {{"fault", nameOf(bad.causes()[span.cause].fault)},
                    {"words", bad.causes()[span.cause].words},
                    {"ranges", Json::array()}};
        part["ranges"].push_back(Json::array({first, first + span.count - 1}));
        if (part["ranges"].size() == kMostRanges)
            parts.push_back(std::exchange(part, Json()));
    }
    for (Json& part : open)
        if (!part.is_null())
            parts.push_back(std::move(part));
    return parts;
}

Json slowTransfersJson(const SlowTransfers& slow) {
    Json slowest = Json::array();
    for (const SlowTransfers::Transfer& transfer : slow.slowest())
        slowest.push_back({{"operation", nameOf(transfer.operation)},
                           {"sector", transfer.lba},
                           {"lastSector", transfer.lba + transfer.count - 1},
                           {"durationUs", microseconds(transfer.duration)}});
    return {{"over150ms", slow.slow()}, {"over500ms", slow.verySlow()}, {"slowest", std::move(slowest)}};
}

Json latencyJson(const std::map<libDrive2::DriveOperation, LatencyHistogram>& latencies) {
    Json operations = Json::array();
    for (const auto& [operation, histogram] : latencies) {
        if (histogram.count() == 0)
            continue;
        Json buckets = Json::array();
        for (const auto& bucket : histogram.buckets())
            buckets.push_back(Json::array({microseconds(bucket.upTo), bucket.count}));
        operations.push_back({{"operation", nameOf(operation)},
                              {"count", histogram.count()},
                              {"p50Us", microseconds(histogram.percentile(0.5))},
                              {"p90Us", microseconds(histogram.percentile(0.9))},
                              {"p99Us", microseconds(histogram.percentile(0.99))},
                              {"p999Us", microseconds(histogram.percentile(0.999))},
                              {"longestUs", microseconds(histogram.longest())},
                              {"buckets", std::move(buckets)}});
    }
    return {{"operations", std::move(operations)}};
}

}  // namespace drivetest
