#include "drivetest/record/StatisticsJson.h"

#include <cmath>
#include <string>
#include <utility>

#include "drivetest/record/ListPlaces.h"
#include "drivetest/record/RunLengths.h"

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

/// The numbers of outcomes, in records for ever.
const char* codeOf(SectorOutcome outcome) {
    switch (outcome) {
        case SectorOutcome::untested:
            return "0";
        case SectorOutcome::good:
            return "1";
        case SectorOutcome::failed:
            return "2";
        case SectorOutcome::recovered:
            return "3";
    }
    return "0";
}

/// Null where none was timed. The scale is coarse: parts of a microsecond would say nothing.
std::string slowestOf(std::uint8_t slowest) {
    return slowest == 0 ? "null"
                        : std::to_string(std::llround(std::ceil(microseconds(SurfaceMap::upTo(slowest)))));
}

/// As text: "[[value,cells],...]".
template <class Value, class Translate>
std::string pairsOf(const RunLengths<Value>& list, Translate translate) {
    std::string pairs = "[";
    for (const auto& [value, cells] : list.runs)
        pairs.append(pairs.size() == 1 ? "[" : ",[")
            .append(translate(value))
            .append(",")
            .append(std::to_string(cells))
            .append("]");
    return pairs + "]";
}

/// Null where nothing was moved.
Json movedJson(const RateProfile& rates, RateProfile::Moved RateProfile::Region::*direction,
               std::uint32_t sectorBytes) {
    Json bytes = Json::array();
    Json us = Json::array();
    bool isAnything = false;
    for (const RateProfile::Region& region : rates.regions()) {
        const RateProfile::Moved& moved = region.*direction;
        bytes.push_back(moved.sectors * sectorBytes);
        us.push_back(std::chrono::duration_cast<std::chrono::microseconds>(moved.elapsed).count());
        isAnything = isAnything || moved.sectors > 0;
    }
    return isAnything ? Json{{"bytes", std::move(bytes)}, {"us", std::move(us)}} : Json();
}

}  // namespace

Json coverageJson(const Coverage& coverage) {
    return {{"unit", nameOf(coverage.unit)},
            {"requested", coverage.requested},
            {"tested", coverage.tested},
            {"failed", coverage.failed},
            {"skipped", coverage.skipped}};
}

SurfaceJson surfaceJson(const SurfaceMap& surface) {
    const auto outcomes = runLengths(surface.outcomes(), kMostRuns);
    const auto slowest = runLengths(surface.slowest(), kMostRuns);
    return {{{"sectorsPerCell", surface.sectorsPerCell()},
             {"cells", surface.outcomes().size()},
             {"outcomes", placeOfList(0)},
             {"slowestUs", placeOfList(1)},
             {"cellsPerValue", {{"outcomes", outcomes.cellsPerValue}, {"slowestUs", slowest.cellsPerValue}}}},
            {pairsOf(outcomes, codeOf), pairsOf(slowest, slowestOf)}};
}

Json regionsJson(const RateProfile& rates, std::uint32_t sectorBytes) {
    Json json{{"sectorsPerRegion", rates.sectorsPerRegion()}, {"regions", rates.regions().size()}};
    for (const auto& [name, direction] :
         {std::pair{"read", &RateProfile::Region::read}, std::pair{"written", &RateProfile::Region::written}})
        if (Json moved = movedJson(rates, direction, sectorBytes); !moved.is_null())
            json[name] = std::move(moved);
    return json;
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

Json transfersJson(const DriveStatistics& statistics) {
    Json operations = Json::array();
    for (const auto operation : kOperations) {
        const OperationStatistics& each = statistics.of(operation);
        if (each.firstTry + each.recovered + each.failed > 0)
            operations.push_back({{"operation", nameOf(operation)},
                                  {"firstTry", each.firstTry},
                                  {"recovered", each.recovered},
                                  {"failed", each.failed}});
    }
    return {{"operations", std::move(operations)}};
}

Json latencyJson(const DriveStatistics& statistics) {
    Json operations = Json::array();
    for (const auto operation : kOperations) {
        const LatencyHistogram& histogram = statistics.of(operation).latency;
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
