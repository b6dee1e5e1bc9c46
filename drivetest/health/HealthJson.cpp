#include "drivetest/health/HealthJson.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "drivetest/health/HealthCounters.h"

namespace drivetest {

using libDrive2::DriveHealth;
using libDrive2::HiddenAreas;
using libDrive2::SelfTestEntry;
using libDrive2::SelfTestKind;
using libDrive2::SelfTestOutcome;
using libDrive2::SmartAttribute;

namespace {

constexpr std::array kKinds = {"other", "short", "extended"};
constexpr std::array kOutcomes = {"running", "passed", "aborted", "interrupted", "failed"};
/// More than any drive has.
constexpr std::size_t kMostEntries = 256;

struct Area {
    const char* key;
    std::optional<std::uint64_t> HiddenAreas::*sectors;
};
constexpr Area kAreas[] = {{"hpaSectors", &HiddenAreas::hpaSectors},
                           {"dcoSectors", &HiddenAreas::dcoSectors},
                           {"inaccessibleSectors", &HiddenAreas::inaccessibleSectors}};

Json jsonOf(const SmartAttribute& attribute) {
    return {{"id", attribute.id},       {"name", attribute.name},           {"value", attribute.value},
            {"worst", attribute.worst}, {"threshold", attribute.threshold}, {"raw", attribute.raw}};
}

Json jsonOf(const SelfTestEntry& test) {
    Json entry{{"kind", nameOf(test.kind)}, {"outcome", nameOf(test.outcome)}};
    if (test.hours)
        entry["hours"] = *test.hours;
    if (test.firstBad)
        entry["firstBad"] = *test.firstBad;
    return entry;
}

template <class Entry>
void putList(Json& content, const char* key, const std::vector<Entry>& entries) {
    for (const Entry& entry : entries)
        content[key].push_back(jsonOf(entry));
}

/// Throws like the others where it is no number.
std::optional<std::uint64_t> countIn(const Json& object, const char* key) {
    const auto found = object.find(key);
    if (found == object.end())
        return std::nullopt;
    if (!found->is_number_unsigned())
        throw Json::type_error::create(302, "no count", &object);
    return found->get<std::uint64_t>();
}

std::uint8_t byteIn(const Json& object, const char* key) {
    const std::uint64_t value = countIn(object, key).value_or(0);
    if (value > 0xFF)
        throw Json::out_of_range::create(406, "no byte", &object);
    return static_cast<std::uint8_t>(value);
}

template <class Names>
std::size_t placeOf(const Names& names, const Json& name) {
    const auto found = std::ranges::find(names, name.get<std::string>());
    if (found == names.end())
        throw Json::other_error::create(501, "unknown name", &name);
    return static_cast<std::size_t>(std::distance(names.begin(), found));
}

SmartAttribute attributeOf(const Json& entry) {
    return {byteIn(entry, "id"),    entry.at("name").get<std::string>(), byteIn(entry, "value"),
            byteIn(entry, "worst"), byteIn(entry, "threshold"),          countIn(entry, "raw").value_or(0)};
}

SelfTestEntry selfTestOf(const Json& entry) {
    return {static_cast<SelfTestKind>(placeOf(kKinds, entry.at("kind"))),
            static_cast<SelfTestOutcome>(placeOf(kOutcomes, entry.at("outcome"))), countIn(entry, "hours"),
            countIn(entry, "firstBad")};
}

template <class Entry>
std::vector<Entry> listIn(const Json& content, const char* key, Entry (*read)(const Json&)) {
    std::vector<Entry> entries;
    const auto found = content.find(key);
    if (found == content.end())
        return entries;
    for (const Json& entry : *found)
        if (entries.size() < kMostEntries)
            entries.push_back(read(entry));
    return entries;
}

}  // namespace

const char* nameOf(SelfTestKind kind) {
    return kKinds.at(static_cast<std::size_t>(kind));
}
const char* nameOf(SelfTestOutcome outcome) {
    return kOutcomes.at(static_cast<std::size_t>(outcome));
}

Json healthJson(const HealthReading& reading) {
    const DriveHealth& health = reading.health;
    Json content{{"source", reading.isBySmartctl ? kHealthBySmartctl : kHealthByDrive}};
    if (!reading.problem.isEmpty())
        content["problem"] = reading.problem.utf8();
    if (health.predictsFailure)
        content["predictsFailure"] = *health.predictsFailure;
    content["counters"] = Json::object();
    for (const HealthCounter& counter : healthCounters())
        if (const DriveHealth::Number number = health.*counter.number)
            content["counters"][counter.key] = *number;
    putList(content, "attributes", health.attributes);
    putList(content, "selfTests", health.selfTests);
    for (const Area& area : kAreas)
        if (const auto sectors = health.hidden.*area.sectors)
            content["hidden"][area.key] = *sectors;
    return content;
}

HealthReading readHealthJson(const Json& content) {
    HealthReading reading;
    reading.isBySmartctl = content.at("source").get<std::string>() == kHealthBySmartctl;
    if (content.contains("problem"))
        reading.problem = content.at("problem").get<std::string>();
    if (content.contains("predictsFailure"))
        reading.health.predictsFailure = content.at("predictsFailure").get<bool>();
    const Json& counters = content.at("counters");
    for (const HealthCounter& counter : healthCounters())
        if (const auto found = counters.find(counter.key); found != counters.end()) {
            // What does not fit is negative as a signed number.
            const bool isTooLarge = found->is_number_unsigned() && found->get<std::int64_t>() < 0;
            if (!found->is_number_integer() || isTooLarge)
                throw Json::type_error::create(302, "no whole number", &counters);
            reading.health.*counter.number = found->get<std::int64_t>();
        }
    reading.health.attributes = listIn(content, "attributes", attributeOf);
    reading.health.selfTests = listIn(content, "selfTests", selfTestOf);
    if (const auto hidden = content.find("hidden"); hidden != content.end())
        for (const Area& area : kAreas)
            reading.health.hidden.*area.sectors = countIn(*hidden, area.key);
    return reading;
}

Json heatJson(const HeatCourse& course) {
    Json json{{"lowest", course.lowest},
              {"highest", course.highest},
              {"last", course.last},
              {"rests", course.rests},
              {"restedSeconds", course.rested.count()}};
    if (course.limit)
        json["limit"] = *course.limit;
    return json;
}

HeatCourse readHeatJson(const Json& content) {
    const auto number = [&content](const char* name) { return content.at(name).get<std::int64_t>(); };
    HeatCourse course{number("lowest"), number("highest"), number("last")};
    course.rests = content.at("rests").get<std::uint64_t>();
    course.rested = std::chrono::seconds(number("restedSeconds"));
    if (content.contains("limit"))
        course.limit = number("limit");
    return course;
}

}  // namespace drivetest
