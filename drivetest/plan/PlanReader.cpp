#include "drivetest/plan/PlanReader.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "drivetest/grade/Grading.h"
#include "drivetest/plan/PlanKeys.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;
using Faults = std::vector<PlanFault>;
using By = PlannedDrive::By;

constexpr std::uint64_t kMostRepeats = 100;
constexpr std::uint64_t kMostDegrees = 200;
constexpr std::uint64_t kMost32 = std::numeric_limits<std::uint32_t>::max();
/// Doubles, which numbers of such files are, count exactly so far.
constexpr std::uint64_t kMost64 = std::uint64_t{1} << 53;

/// A drive with the keys that tell which one it is.
struct NamedDrive {
    PlannedDrive drive;
    std::vector<std::pair<By, const TomlEntry*>> names{};
};

constexpr std::pair<const char*, OnFailure> kOnFailure[] = {
    {"go-on", OnFailure::goOn}, {"stop-drive", OnFailure::stopDrive}, {"stop-all", OnFailure::stopAll}};

/// For a list of tables, such as [[test]]; null after a fault.
const std::vector<TomlSection>* headingsIn(const TomlEntry& entry, Faults& faults) {
    const auto* const tables = std::get_if<TomlTables>(&entry.value);
    if (tables != nullptr && tables->isList)
        return &tables->all;
    faults.push_back({entry.keyPlace,
                      words("write {heading} in double brackets, on a line of its own: there can be several",
                            {{"heading", quoted("[[" + entry.key + "]]")}})});
    return nullptr;
}

template <class Number>
void setNumber(Number& into, const TomlEntry& entry, std::uint64_t least, std::uint64_t most,
               Faults& faults) {
    if (const auto number = numberIn(entry, least, most, faults))
        into = static_cast<Number>(*number);
}

template <class Found, class Into>
void setIf(Found&& found, Into& into) {
    if (found)
        into = *std::forward<Found>(found);
}

const PlanKey<PlannedTest> kTestKeys[] = {
    {"test",
     [](PlannedTest& test, const TomlEntry& entry, Faults& faults) {
         setIf(textIn(entry, faults), test.options.test);
         test.place = entry.valuePlace;
     }},
    {"name", [](PlannedTest& test, const TomlEntry& entry,
                Faults& faults) { setIf(textIn(entry, faults), test.label); }},
    {"parameters", [](PlannedTest& test, const TomlEntry& entry,
                      Faults& faults) { test.parameters = valuesIn(entry, faults); }},
    {"properties", [](PlannedTest& test, const TomlEntry& entry,
                      Faults& faults) { test.properties = valuesIn(entry, faults); }},
    {"repeats", [](PlannedTest& test, const TomlEntry& entry,
                   Faults& faults) { setNumber(test.repeats, entry, 1, kMostRepeats, faults); }},
    {"max-time", [](PlannedTest& test, const TomlEntry& entry,
                    Faults& faults) { setIf(timeIn(entry, faults), test.options.maxTime); }},
    {"gentle", [](PlannedTest& test, const TomlEntry& entry,
                  Faults& faults) { setIf(flagIn(entry, faults), test.options.gentle); }},
    {"max-temp",
     [](PlannedTest& test, const TomlEntry& entry, Faults& faults) {
         setNumber(test.options.maxTemperature, entry, 1, kMostDegrees, faults);
     }},
    {"max-errors",
     [](PlannedTest& test, const TomlEntry& entry, Faults& faults) {
         if (const auto count = numberIn(entry, 1, kMost32, faults))
             test.parameters.push_back(
                 {"MaxErrors", entry.keyPlace, std::to_string(*count), entry.valuePlace});
     }},
    {"slow-ms", [](PlannedTest& test, const TomlEntry& entry,
                   Faults& faults) { setNumber(test.options.slowMs, entry, 0, kMost32, faults); }},
    {"slow-count", [](PlannedTest& test, const TomlEntry& entry,
                      Faults& faults) { setNumber(test.options.slowAllowed, entry, 0, kMost64, faults); }},
    {"grade",
     [](PlannedTest& test, const TomlEntry& entry, Faults& faults) {
         setIf(pathIn(entry, {std::string(kDefaultGrading), std::string(kNoGrading)}, faults),
               test.options.grading);
     }},
};

void readTest(const TomlSection& section, const RunOptions& usual, Plan& plan, Faults& faults) {
    PlannedTest test{section.place, {}, usual};
    for (const TomlEntry& entry : section.entries)
        test.places[entry.key] = entry.valuePlace;
    takeEntries<PlannedTest>(section.entries, kTestKeys, test, faults);
    if (!test.places.contains("test"))
        faults.push_back({section.place, words("{name} is missing", {{"name", "test"}})});
    if (test.places.contains("slow-count") && !test.places.contains("slow-ms"))
        faults.push_back(
            {test.places["slow-count"], words("{option} is only of use with {other}: give that, too",
                                              {{"option", "slow-count"}, {"other", "slow-ms"}})});
    if (test.label.empty())
        test.label = test.options.test;
    plan.tests.push_back(std::move(test));
}

void takeName(NamedDrive& named, const TomlEntry& entry, By by, Faults& faults) {
    named.names.emplace_back(by, &entry);
    if (by != By::match)
        setIf(textIn(entry, faults), named.drive.name);
}

const PlanKey<NamedDrive> kDriveKeys[] = {
    {"path", [](NamedDrive& named, const TomlEntry& entry,
                Faults& faults) { takeName(named, entry, By::path, faults); }},
    {"serial", [](NamedDrive& named, const TomlEntry& entry,
                  Faults& faults) { takeName(named, entry, By::serial, faults); }},
    {"kind",
     [](NamedDrive& named, const TomlEntry& entry, Faults& faults) {
         takeName(named, entry, By::match, faults);
         named.drive.match.kinds = namesIn(entry, driveKinds(), faults);
     }},
    {"bus",
     [](NamedDrive& named, const TomlEntry& entry, Faults& faults) {
         takeName(named, entry, By::match, faults);
         named.drive.match.buses = namesIn(entry, driveBuses(), faults);
     }},
    {"model",
     [](NamedDrive& named, const TomlEntry& entry, Faults& faults) {
         takeName(named, entry, By::match, faults);
         setIf(textIn(entry, faults), named.drive.match.model);
     }},
    {"size-from",
     [](NamedDrive& named, const TomlEntry& entry, Faults& faults) {
         takeName(named, entry, By::match, faults);
         setIf(sizeIn(entry, faults), named.drive.match.leastBytes);
     }},
    {"size-to",
     [](NamedDrive& named, const TomlEntry& entry, Faults& faults) {
         takeName(named, entry, By::match, faults);
         setIf(sizeIn(entry, faults), named.drive.match.mostBytes);
     }},
    {"tests",
     [](NamedDrive& named, const TomlEntry& entry, Faults& faults) {
         const std::size_t before = faults.size();
         named.drive.tests = textsIn(entry, faults);
         if (named.drive.tests.empty() && faults.size() == before)
             faults.push_back({entry.valuePlace, words("{name} names none", {{"name", entry.key}})});
     }},
};

/// One drive by one name, or all that are like this.
void checkNames(NamedDrive& named, Faults& faults) {
    if (named.names.empty()) {
        faults.push_back({named.drive.place, words("say which drive: give path or serial, or what it is like "
                                                   "by kind, bus, model, size-from, size-to")});
        return;
    }
    const auto& [by, first] = named.names.front();
    named.drive.by = by;
    if (by != By::match || named.names.size() == 1)
        named.drive.place = first->valuePlace;
    for (const auto& [otherBy, other] : named.names)
        if (other != first && (by != By::match || otherBy != By::match))
            faults.push_back(
                {other->keyPlace, words("{first} says already which drive it is: leave out {other}",
                                        {{"first", first->key}, {"other", other->key}})});
    if (named.drive.match.leastBytes > named.drive.match.mostBytes)
        faults.push_back(
            {named.drive.place, words("no drive has such a size: size-from is more than size-to")});
}

void readDrive(const TomlSection& section, Plan& plan, Faults& faults) {
    NamedDrive named{{section.place}};
    takeEntries<NamedDrive>(section.entries, kDriveKeys, named, faults);
    checkNames(named, faults);
    plan.drives.push_back(std::move(named.drive));
}

void checkLabels(const Plan& plan, Faults& faults) {
    std::vector<std::string> labels;
    labels.reserve(plan.tests.size());
    for (const PlannedTest& test : plan.tests)
        labels.push_back(test.label);
    for (const PlannedDrive& drive : plan.drives)
        for (const TomlText& each : drive.tests)
            if (!each.text.empty() && std::ranges::find(labels, each.text) == labels.end())
                faults.push_back({each.place, unknownName(each.text, labels)});
}

struct Reading {
    const RunOptions& usual;
    Plan plan;
};

void takeOnFailure(Reading& reading, const TomlEntry& entry, Faults& faults) {
    std::vector<std::string> names;
    for (const auto& [name, action] : kOnFailure)
        names.emplace_back(name);
    const auto text = textIn(entry, faults);
    if (!text)
        return;
    const auto* const found =
        std::ranges::find_if(kOnFailure, [&text](const auto& each) { return *text == each.first; });
    if (found == std::end(kOnFailure))
        faults.push_back({entry.valuePlace, unknownName(*text, names)});
    else
        reading.plan.onFailure = found->second;
}

const PlanKey<Reading> kPlanKeys[] = {
    {"on-failure", takeOnFailure},
    {"repeats", [](Reading& reading, const TomlEntry& entry,
                   Faults& faults) { setNumber(reading.plan.repeats, entry, 1, kMostRepeats, faults); }},
    {"jobs", [](Reading& reading, const TomlEntry& entry,
                Faults& faults) { setNumber(reading.plan.jobs, entry, 1, kMostJobs, faults); }},
    {"folder", [](Reading& reading, const TomlEntry& entry,
                  Faults& faults) { setIf(pathIn(entry, {}, faults), reading.plan.folder); }},
    {"hang-time", [](Reading& reading, const TomlEntry& entry,
                     Faults& faults) { reading.plan.hangSeconds = timeIn(entry, faults); }},
    {"confirm", [](Reading& reading, const TomlEntry& entry,
                   Faults& faults) { reading.plan.confirmed = textsIn(entry, faults); }},
    {"test",
     [](Reading& reading, const TomlEntry& entry, Faults& faults) {
         if (const auto* const sections = headingsIn(entry, faults))
             for (const TomlSection& section : *sections)
                 readTest(section, reading.usual, reading.plan, faults);
     }},
    {"drive",
     [](Reading& reading, const TomlEntry& entry, Faults& faults) {
         if (const auto* const sections = headingsIn(entry, faults))
             for (const TomlSection& section : *sections)
                 readDrive(section, reading.plan, faults);
     }},
};

/// [test] is meant as [[test]].
void refuseHeadings(const TomlFile& file, Faults& faults) {
    for (const TomlSection& section : file.sections())
        if (section.name == "test" || section.name == "drive")
            (void)headingsIn({section.name, section.place, {}, section.place}, faults);
        else if (&section != &file.sections().front())
            faults.push_back({section.place, unknownName(section.name, {"drive", "test"})});
}

}  // namespace

Plan readPlan(const TomlFile& file, const RunOptions& usual, Faults& faults) {
    Reading reading{usual, {}};
    takeEntries<Reading>(file.sections().front().entries, kPlanKeys, reading, faults);
    refuseHeadings(file, faults);
    checkLabels(reading.plan, faults);
    const bool isWhole = faults.empty();
    if (isWhole && reading.plan.tests.empty())
        faults.push_back(
            {{}, words("the plan has no test: it wants a line [[test]], and test = \"read\" below")});
    if (isWhole && reading.plan.drives.empty())
        faults.push_back(
            {{},
             words("the plan has no drive: it wants a line [[drive]], and path = \"…\" or the like below")});
    reading.plan.file = file.name();
    return std::move(reading.plan);
}

}  // namespace drivetest
