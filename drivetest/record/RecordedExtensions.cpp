#include "drivetest/record/RecordedExtensions.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <tuple>

#include "drivetest/health/HealthJson.h"
#include "drivetest/record/GradeJson.h"
#include "drivetest/record/SharingJson.h"
#include "drivetest/record/SurfaceReading.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

/// More kinds of events than anybody reads; further ones are counted in the last.
constexpr std::size_t kMostEventKinds = 4096;

/// No drive has more, and counts of sectors stay numbers.
constexpr std::uint64_t kLastSector = std::uint64_t{1} << 62;

/// The pair [first, last] of a range.
std::pair<std::uint64_t, std::uint64_t> rangeOf(const Json& first, const Json& last) {
    if (!first.is_number_unsigned() || !last.is_number_unsigned() || first > last || last > kLastSector)
        throw faultOf("ranges");
    return {first.get<std::uint64_t>(), last.get<std::uint64_t>()};
}

/// Tests name the sectors of an event by many names.
std::optional<std::uint64_t> sectorOf(const Json& variables) {
    for (const char* name : {"ReadSector", "WriteSector", "SeekSector", "TestSector", "sector"})
        if (const auto found = variables.find(name); found != variables.end() && found->is_number_unsigned())
            return found->get<std::uint64_t>();
    return {};
}

void widen(RecordedEvents& group, std::optional<std::uint64_t> sector) {
    if (!sector)
        return;
    group.firstSector = std::min(group.firstSector.value_or(*sector), *sector);
    group.lastSector = std::max(group.lastSector.value_or(*sector), *sector);
}

RecordedEvents& groupOf(const Json& content, RecordedRun& run) {
    const auto [key, type, cause] = std::tuple(recordedText(content, "key"), recordedText(content, "type"),
                                               recordedText(content, "cause"));
    // Backwards, as equal ones come in a row.
    const auto found = std::find_if(run.events.rbegin(), run.events.rend(), [&](const RecordedEvents& group) {
        return group.key == key && group.type == type && group.cause == cause;
    });
    if (found != run.events.rend())
        return *found;
    if (run.events.size() >= kMostEventKinds)
        return run.events.back();
    run.events.push_back({key, type, cause, 0, recordedText(content, "message"), {}, {}, {}});
    return run.events.back();
}

void takeEvent(const Json& content, const RunLists& /*lists*/, RecordedRun& run) {
    RecordedEvents& group = groupOf(content, run);
    ++group.count;
    group.lastMessage = recordedText(content, "message");
    widen(group, sectorOf(content.at("variables")));
}

void takeEvents(const Json& content, const RunLists& /*lists*/, RecordedRun& run) {
    RecordedEvents& group = groupOf(content, run);
    group.count += recordedCount(content, "count");
    group.lastMessage = recordedText(content, "lastMessage");
    widen(group, sectorOf(content.at("variables")));
    widen(group, sectorOf(content.at("lastVariables")));
}

void takeResult(const Json& content, const RunLists& /*lists*/, RecordedRun& run) {
    run.result = recordedText(content, "result");
    run.errors = recordedCount(content, "errors");
    run.warnings = recordedCount(content, "warnings");
}

void takeCoverage(const Json& content, const RunLists& /*lists*/, RecordedRun& run) {
    run.coverage = RecordedCoverage{recordedText(content, "unit"), recordedCount(content, "requested"),
                                    recordedCount(content, "tested"), recordedCount(content, "failed"),
                                    recordedCount(content, "skipped")};
}

void takeDrive(const Json& content, const RunLists& /*lists*/, RecordedRun& run) {
    run.drive.method = recordedText(content, "method");
    run.drive.sectors = recordedCount(content, "sectors");
    const std::uint64_t bytes = recordedCount(content, "sectorBytes");
    if (bytes > std::numeric_limits<std::uint32_t>::max())
        throw faultOf("sectorBytes");
    run.drive.sectorBytes = static_cast<std::uint32_t>(bytes);
    if (content.contains("protectionType"))
        run.drive.protectionType = recordedCount(content, "protectionType");
}

void takeBadSectors(const Json& content, const RunLists& /*lists*/, RecordedRun& run) {
    const RecordedCause cause{recordedText(content, "fault"), recordedText(content, "words")};
    const auto known = std::find(run.badCauses.begin(), run.badCauses.end(), cause);
    const auto index = static_cast<std::size_t>(std::distance(run.badCauses.begin(), known));
    if (known == run.badCauses.end())
        run.badCauses.push_back(cause);
    for (const Json& range : content.at("ranges")) {
        const auto [first, last] = rangeOf(range.at(0), range.at(1));
        run.bad.push_back({first, last, index});
    }
}

void takeUnrestored(const Json& content, const RunLists& /*lists*/, RecordedRun& run) {
    run.journal = recordedText(content, "journal");
    for (const Json& range : content.at("ranges"))
        run.unrestored.push_back(rangeOf(range.at("sector"), range.at("lastSector")));
}

void takeSlowTransfers(const Json& content, const RunLists& /*lists*/, RecordedRun& run) {
    RecordedSlowness slowness{recordedCount(content, "over150ms"), recordedCount(content, "over500ms"), {}};
    for (const Json& each : content.at("slowest")) {
        const auto [first, last] = rangeOf(each.at("sector"), each.at("lastSector"));
        slowness.slowest.push_back(
            {recordedText(each, "operation"), first, last, recordedNumber(each, "durationUs")});
    }
    run.slowness = std::move(slowness);
}

void takeTransfers(const Json& content, const RunLists& /*lists*/, RecordedRun& run) {
    for (const Json& each : content.at("operations"))
        run.attempts.push_back({recordedText(each, "operation"), recordedCount(each, "firstTry"),
                                recordedCount(each, "recovered"), recordedCount(each, "failed")});
}

std::vector<RecordedMoved> movedOf(const Json& content, const char* direction, std::size_t regions) {
    if (!content.contains(direction))
        return {};
    const auto bytes = content.at(direction).at("bytes").get<std::vector<double>>();
    const auto us = content.at(direction).at("us").get<std::vector<double>>();
    if (bytes.size() != regions || us.size() != regions)
        throw faultOf(direction);
    std::vector<RecordedMoved> moved(regions);
    for (std::size_t i = 0; i < regions; ++i)
        moved[i] = {bytes[i], us[i]};
    return moved;
}

void takeRegions(const Json& content, const RunLists& /*lists*/, RecordedRun& run) {
    const std::uint64_t regions = recordedCount(content, "regions");
    run.regions = RecordedRegions{recordedCount(content, "sectorsPerRegion"),
                                  movedOf(content, "read", regions), movedOf(content, "written", regions)};
}

void takeLatency(const Json& content, const RunLists& /*lists*/, RecordedRun& run) {
    for (const Json& each : content.at("operations")) {
        RecordedLatency latency{recordedText(each, "operation"),
                                recordedCount(each, "count"),
                                recordedNumber(each, "p50Us"),
                                recordedNumber(each, "p99Us"),
                                recordedNumber(each, "p999Us"),
                                recordedNumber(each, "longestUs"),
                                {}};
        for (const Json& bucket : each.at("buckets")) {
            if (!bucket.at(0).is_number() || !bucket.at(1).is_number_unsigned())
                throw faultOf("buckets");
            latency.buckets.push_back({bucket[0].get<double>(), bucket[1].get<std::uint64_t>()});
        }
        run.latencies.push_back(std::move(latency));
    }
}

void takeSurface(const Json& content, const RunLists& lists, RecordedRun& run) {
    run.surface = readSurface(content, lists);
}

void takeHealth(const Json& content, const RunLists& /*lists*/, RecordedRun& run) {
    (recordedText(content, "when") == kHealthBefore ? run.healthBefore : run.healthAfter) =
        readHealthJson(content);
}

void takeLinks(const Json& content, const RunLists& /*lists*/, RecordedRun& run) {
    // More than any machine has one behind the other.
    constexpr std::size_t kMost = 64;
    for (const Json& each : content.at("links"))
        if (run.links.size() < kMost)
            run.links.push_back({recordedText(each, "name"), recordedCount(each, "megabytesPerSecond")});
}

void takeSharing(const Json& content, const RunLists& /*lists*/, RecordedRun& run) {
    run.sharedLinks = readSharingJson(content);
}

void takeTemperature(const Json& content, const RunLists& /*lists*/, RecordedRun& run) {
    run.heat = recordedHeat(content);
}

void takeGrade(const Json& content, const RunLists& /*lists*/, RecordedRun& run) {
    run.grade = readGrade(content);
}

struct Extension {
    const char* name;
    void (*take)(const Json& content, const RunLists& lists, RecordedRun& run);
};

constexpr Extension kExtensions[] = {
    {"event", takeEvent},
    {"events", takeEvents},
    {"result", takeResult},
    {"coverage", takeCoverage},
    {"drive", takeDrive},
    {"badSectors", takeBadSectors},
    {"unrestored", takeUnrestored},
    {"slowTransfers", takeSlowTransfers},
    {"latency", takeLatency},
    {"transfers", takeTransfers},
    {"regions", takeRegions},
    {"surface", takeSurface},
    {"health", takeHealth},
    {"grade", takeGrade},
    {"temperature", takeTemperature},
    {"links", takeLinks},
    {"sharedLinks", takeSharing},
};

/// What stands under the name; null for nothing.
const Json* find(const Json& object, const char* name) {
    if (!object.is_object())
        throw faultOf(name);
    const auto found = object.find(name);
    return found != object.end() && !found->is_null() ? &*found : nullptr;
}

}  // namespace

RecordFault faultOf(const std::string& name) {
    return RecordFault(
        zel::words("\"{name}\" is missing, or is not what a record has there", {{"name", name}}));
}

std::string recordedText(const Json& object, const char* name) {
    const Json* const found = find(object, name);
    if (found != nullptr && !found->is_string())
        throw faultOf(name);
    return found != nullptr ? found->get<std::string>() : std::string();
}

std::uint64_t recordedCount(const Json& object, const char* name) {
    const Json* const found = find(object, name);
    if (found != nullptr && !found->is_number_unsigned())
        throw faultOf(name);
    return found != nullptr ? found->get<std::uint64_t>() : 0;
}

std::uint64_t recordedCount(const Json& object, const char* name, std::uint64_t most) {
    const std::uint64_t count = recordedCount(object, name);
    if (count > most)
        throw faultOf(name);
    return count;
}

double recordedNumber(const Json& object, const char* name) {
    const Json* const found = find(object, name);
    if (found != nullptr && (!found->is_number() || *found < 0))
        throw faultOf(name);
    return found != nullptr ? found->get<double>() : 0;
}

HeatCourse recordedHeat(const Json& content) {
    const HeatCourse heat = readHeatJson(content);
    // Far beyond any run, and still a time that can be told in nanoseconds.
    constexpr std::chrono::hours kLongest{24 * 365};
    if (heat.rested < std::chrono::seconds(0) || heat.rested > kLongest)
        throw faultOf("restedSeconds");
    return heat;
}

void takeExtension(const std::string& name, const Json& content, const RunLists& lists, RecordedRun& run) {
    const auto* const known =
        std::find_if(std::begin(kExtensions), std::end(kExtensions),
                     [&name](const Extension& extension) { return name == extension.name; });
    if (known == std::end(kExtensions))
        return;
    try {
        known->take(content, lists, run);
    } catch (const Json::exception&) {
        throw faultOf(name);
    }
}

}  // namespace drivetest
