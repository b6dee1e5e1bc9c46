#include <algorithm>
#include <tuple>

#include "drivetest/findings/Figures.h"
#include "drivetest/findings/Verdict.h"
#include "drivetest/html/Sections.h"
#include "drivetest/html/Tables.h"
#include "zel/Words.h"

namespace drivetest {

using zel::words;

namespace {

/// So many kinds of events are shown; those that come after are the rarer ones.
constexpr std::size_t kMostShownEvents = 200;

std::string typeText(const std::string& type) {
    if (type == "ERR")
        return words("error");
    return type == "WARNING" ? words("warning") : words("information");
}

std::string messageText(const RecordedEvents& events) {
    return events.count == 1 ? events.firstMessage : events.firstMessage + " … " + events.lastMessage;
}

std::string sectorText(const std::optional<std::uint64_t>& sector) {
    return sector ? std::to_string(*sector) : std::string();
}

int rankOf(const RecordedEvents& events) {
    return events.type == "ERR" ? 0 : events.type == "WARNING" ? 1 : 2;
}

void writeProblems(HtmlWriter& html, const RecordedRun& run) {
    if (run.problems.empty())
        return;
    html.element("h3", words("Problems of the run itself"));
    const auto list = html.open("ul");
    for (const RecordedError& problem : run.problems)
        html.element("li", problem.symptom + ": " + problem.message);
}

}  // namespace

std::string capacityText(const RecordedDrive& drive) {
    if (drive.sectors == 0 || drive.sectorBytes == 0)
        return {};
    return words("{size}: {count} sectors of {bytes} bytes",
                 {{"size", sizeFigure(static_cast<double>(drive.sectors) * drive.sectorBytes)},
                  {"count", countFigure(drive.sectors)},
                  {"bytes", drive.sectorBytes}});
}

void writeDrive(HtmlWriter& html, const RecordedRun& run) {
    const Section section(html, "drive", words("Drive"));
    Facts facts(html);
    facts.add(words("Manufacturer"), run.drive.manufacturer);
    facts.add(words("Model"), run.drive.model);
    facts.add(words("Serial number"), run.drive.serial.empty() ? words("none") : run.drive.serial);
    facts.add(words("Firmware"), run.drive.firmware);
    facts.add(words("Size"), capacityText(run.drive));
    if (run.drive.protectionType != 0)
        facts.add(words("Protection information"), words("type {n}", {{"n", run.drive.protectionType}}));
    facts.add(words("Name in the system"), run.drive.location);
}

void writeEvents(HtmlWriter& html, const RecordedRun& run) {
    const Section section(html, "events", words("Events"));
    std::vector<const RecordedEvents*> shown;
    shown.reserve(run.events.size());
    for (const RecordedEvents& events : run.events)
        shown.push_back(&events);
    std::sort(shown.begin(), shown.end(), [](const RecordedEvents* a, const RecordedEvents* b) {
        // Of the same count, as they came.
        return std::tuple(rankOf(*a), b->count, a) < std::tuple(rankOf(*b), a->count, b);
    });
    if (shown.empty())
        html.element("p", words("The test reported nothing."));
    if (const std::size_t all = shown.size(); all > kMostShownEvents) {
        shown.resize(kMostShownEvents);
        html.element("p", words("Shown are the {shown} most frequent of {all} kinds.",
                                {{"shown", shown.size()}, {"all", all}}));
    }
    if (!shown.empty()) {
        Table table(html, words("What the test reported, with the drive's own words"),
                    {{words("Event")},
                     {words("Type")},
                     {words("Count"), true},
                     {words("First LBA"), true},
                     {words("Last LBA"), true},
                     {words("The drive's words")},
                     {words("Message")}});
        for (const RecordedEvents* events : shown)
            table.row({events->key, typeText(events->type), countFigure(events->count),
                       sectorText(events->firstSector), sectorText(events->lastSector), events->cause,
                       messageText(*events)});
    }
    writeProblems(html, run);
}

void writeCourse(HtmlWriter& html, const RecordedRun& run) {
    const Section section(html, "course", words("How it was tested"));
    {
        Facts facts(html);
        facts.add(words("Test"), run.test);
        facts.add(words("Reached by"), methodText(run.drive.method));
        facts.add(words("Began"), timeFigure(run.startTime));
        facts.add(run.isCutOff ? words("Last known of") : words("Ended"), timeFigure(run.lastTime));
        facts.add(words("Result"),
                  run.isCutOff && run.result.empty() ? words("none: the record breaks off") : run.result);
        facts.add(words("Program"), run.program + " " + run.programVersion);
        facts.add(words("Record"), run.file);
    }
    if (!run.parameters.empty()) {
        Table table(html, words("Parameters in force"), {{words("Parameter")}, {words("Value")}});
        for (const auto& [name, value] : run.parameters)
            table.row({name, value});
    }
    html.element("h3", words("To repeat the run"));
    html.element("pre", run.commandLine, {{"class", "copied"}, {"id", "command"}, {"tabindex", "0"}});
    html.element("p", words("Rates are in MB/s of 1 048 576 bytes."), {{"class", "note"}});
}

}  // namespace drivetest
