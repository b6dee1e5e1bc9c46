#include "drivetest/record/StatisticsStateJson.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <limits>
#include <string>
#include <utility>

#include "drivetest/record/ObjectOf.h"
#include "drivetest/record/RecordedExtensions.h"
#include "drivetest/statistics/DriveStatistics.h"

namespace drivetest {

using libDrive2::DriveOperation;
using libDrive2::SectorFault;
using std::chrono::nanoseconds;

namespace {

constexpr std::array kFaults{SectorFault::unreadable, SectorFault::unwritable, SectorFault::unreachable,
                             SectorFault::wrongData};

/// A number of a record, which is never negative.
std::uint64_t countOf(const Json& value) {
    if (!value.is_number_unsigned())
        throw faultOf("progress");
    return value.get<std::uint64_t>();
}

nanoseconds timeOf(const Json& value) {
    const std::uint64_t count = countOf(value);
    if (count > static_cast<std::uint64_t>(nanoseconds::max().count()))
        throw faultOf("progress");
    return nanoseconds(static_cast<nanoseconds::rep>(count));
}

/// The one of them that has this name.
template <class Values>
auto named(const Values& values, const std::string& name) {
    const auto found = std::ranges::find_if(values, [&name](auto each) { return name == nameOf(each); });
    if (found == std::end(values))
        throw faultOf("progress");
    return *found;
}

Json timeJson(nanoseconds time) {
    return std::max<nanoseconds::rep>(time.count(), 0);
}

/// [value, number of cells, value, number of cells ...]
template <class Value>
Json cellsJson(const std::vector<Value>& cells) {
    Json list = Json::array();
    for (std::size_t i = 0, end = 0; i < cells.size(); i = end) {
        while (end < cells.size() && cells[end] == cells[i])
            ++end;
        list.push_back(static_cast<unsigned>(cells[i]));
        list.push_back(end - i);
    }
    return list;
}

template <class Value>
std::vector<Value> readCells(const Json& list, unsigned greatest) {
    std::vector<Value> cells;
    for (std::size_t i = 0; i < list.size(); i += 2) {
        const std::uint64_t value = countOf(list.at(i));
        const std::uint64_t count = countOf(list.at(i + 1));
        if (value > greatest || count > SurfaceMap::kMostCells - cells.size())
            throw faultOf("progress");
        cells.insert(cells.end(), count, static_cast<Value>(value));
    }
    return cells;
}

Json surfaceJson(const std::vector<SurfaceMap::Part>& parts) {
    Json list = Json::array();
    for (const SurfaceMap::Part& part : parts)
        list.push_back({{"first", part.first},
                        {"outcomes", cellsJson(part.outcomes)},
                        {"slowest", cellsJson(part.slowest)}});
    return list;
}

Json goodJson(const std::vector<SectorRuns::Run>& runs) {
    Json list = Json::array();
    for (const SectorRuns::Run& run : runs)
        list.push_back(run.times == 1 ? Json::array({run.first, run.count})
                                      : Json::array({run.first, run.count, run.step, run.times}));
    return list;
}

Json causesJson(const std::vector<BadSectors::Cause>& causes) {
    Json list = Json::array();
    for (const BadSectors::Cause& cause : causes)
        list.push_back({{"fault", nameOf(cause.fault)}, {"words", cause.words}});
    return list;
}

Json badJson(const std::vector<StatisticsState::Bad>& bad) {
    Json list = Json::array();
    for (const StatisticsState::Bad& each : bad)
        list.push_back(Json::array({each.first, each.count, each.cause}));
    return list;
}

Json regionsJson(const std::vector<RateProfile::Changed>& regions) {
    Json list = Json::array();
    for (const auto& [index, region] : regions)
        list.push_back(Json::array({index, region.read.sectors, timeJson(region.read.elapsed),
                                    region.written.sectors, timeJson(region.written.elapsed)}));
    return list;
}

Json operationsJson(const StatisticsState& state) {
    Json list = Json::array();
    for (const DriveOperation operation : kOperations) {
        const OperationStatistics& each = state.operations[static_cast<std::size_t>(operation)];
        if (each.firstTry + each.recovered + each.failed == 0)
            continue;
        Json steps = Json::array();
        for (const auto& [step, count] : each.latency.steps()) {
            steps.push_back(step);
            steps.push_back(count);
        }
        list.push_back({{"operation", nameOf(operation)},
                        {"firstTry", each.firstTry},
                        {"recovered", each.recovered},
                        {"failed", each.failed},
                        {"longestNs", timeJson(each.latency.longest())},
                        {"steps", std::move(steps)}});
    }
    return list;
}

Json slowJson(const SlowTransfers::State& slow) {
    Json kept = Json::array();
    for (const SlowTransfers::Transfer& each : slow.kept)
        kept.push_back(Json::array({nameOf(each.operation), each.lba, each.count, timeJson(each.duration)}));
    return {{"over150ms", slow.slow},
            {"over500ms", slow.verySlow},
            {"overLimit", slow.beyondLimit},
            {"kept", std::move(kept)}};
}

Json totalsJson(const TransferTotals& totals) {
    return {{"bytes", totals.bytes}, {"ns", timeJson(totals.elapsed)}};
}

TransferTotals readTotals(const Json& json) {
    return {countOf(json.at("bytes")), timeOf(json.at("ns"))};
}

void readWindow(const Json& json, StatisticsState& state) {
    for (const Json& run : json.at("good")) {
        const bool isOne = run.size() == 2;
        state.good.push_back({countOf(run.at(0)), countOf(run.at(1)), isOne ? 0 : countOf(run.at(2)),
                              isOne ? 1 : countOf(run.at(3))});
    }
    for (const Json& cause : json.at("newCauses"))
        state.newCauses.push_back(
            {named(kFaults, recordedText(cause, "fault")), recordedText(cause, "words")});
    for (const Json& bad : json.at("bad"))
        state.bad.push_back({countOf(bad.at(0)), countOf(bad.at(1)), countOf(bad.at(2))});
    for (const Json& part : json.at("surface"))
        state.surface.push_back(
            {countOf(part.at("first")),
             readCells<SectorOutcome>(part.at("outcomes"), static_cast<unsigned>(SectorOutcome::failed)),
             readCells<std::uint8_t>(part.at("slowest"), 255)});
    for (const Json& each : json.at("regions"))
        state.regions.push_back(
            {countOf(each.at(0)),
             {{countOf(each.at(1)), timeOf(each.at(2))}, {countOf(each.at(3)), timeOf(each.at(4))}}});
}

void readOperation(const Json& json, StatisticsState& state) {
    const DriveOperation operation = named(kOperations, recordedText(json, "operation"));
    OperationStatistics& each = state.operations[static_cast<std::size_t>(operation)];
    each.firstTry = recordedCount(json, "firstTry");
    each.recovered = recordedCount(json, "recovered");
    each.failed = recordedCount(json, "failed");
    std::vector<LatencyHistogram::Step> steps;
    for (std::size_t i = 0; i < json.at("steps").size(); i += 2)
        steps.emplace_back(countOf(json.at("steps").at(i)), countOf(json.at("steps").at(i + 1)));
    if (!each.latency.restore(steps, timeOf(json.at("longestNs"))))
        throw faultOf("progress");
}

SlowTransfers::State readSlow(const Json& json) {
    SlowTransfers::State slow{{},
                              recordedCount(json, "over150ms"),
                              recordedCount(json, "over500ms"),
                              recordedCount(json, "overLimit")};
    for (const Json& each : json.at("kept")) {
        const std::uint64_t sectors = countOf(each.at(2));
        if (sectors > std::numeric_limits<std::uint32_t>::max() || slow.kept.size() == SlowTransfers::kMost)
            throw faultOf("progress");
        slow.kept.push_back({named(kOperations, each.at(0).get<std::string>()), countOf(each.at(1)),
                             static_cast<std::uint32_t>(sectors), timeOf(each.at(3))});
    }
    return slow;
}

}  // namespace

Json stateJson(const StatisticsState& state) {
    return objectOf({{"visited", state.visited},
                     {"read", totalsJson(state.reads)},
                     {"written", totalsJson(state.writes)},
                     {"operations", operationsJson(state)},
                     {"slowTransfers", slowJson(state.slow)},
                     {"good", goodJson(state.good)},
                     {"newCauses", causesJson(state.newCauses)},
                     {"bad", badJson(state.bad)},
                     {"surface", surfaceJson(state.surface)},
                     {"regions", regionsJson(state.regions)}});
}

StatisticsState readState(const Json& json) {
    StatisticsState state;
    readWindow(json, state);
    state.visited = recordedCount(json, "visited");
    state.reads = readTotals(json.at("read"));
    state.writes = readTotals(json.at("written"));
    for (const Json& operation : json.at("operations"))
        readOperation(operation, state);
    state.slow = readSlow(json.at("slowTransfers"));
    return state;
}

}  // namespace drivetest
