#include "drivetest/report/JUnitSuite.h"

#include <algorithm>
#include <string_view>

#include "drivetest/findings/Explanation.h"
#include "drivetest/findings/Figures.h"
#include "drivetest/findings/Verdict.h"
#include "drivetest/html/HtmlWriter.h"
#include "drivetest/record/RecordTime.h"
#include "zel/Format.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::counted;
using zel::words;
using Outcome = JUnitCase::Outcome;

/// The record has them all.
constexpr std::size_t kMostRanges = 50;
constexpr std::size_t kMostEvents = 20;

Outcome outcomeOf(const RecordedRun& run) {
    if (!run.unrestored.empty())
        return Outcome::error;
    if (Verdict::of(run).kind == Verdict::Kind::faulty)
        return Outcome::failed;
    if (run.result == "USERABORTED" || run.result == "NOTSUPPORTED")
        return Outcome::skipped;
    return obstacleToVerdict(run).isEmpty() ? Outcome::passed : Outcome::error;
}

std::string rangeLine(const RecordedRun& run, const RecordedBad& bad) {
    const std::string fault = bad.cause < run.badCauses.size() ? run.badCauses[bad.cause].fault : "";
    return rangeFigure(bad.first, bad.last) + " " + std::to_string(bad.last - bad.first + 1) + " " + fault;
}

std::vector<std::string> detailsOf(const RecordedRun& run) {
    std::vector<std::string> lines;
    for (const RecordedBad& bad : run.bad) {
        if (lines.size() == kMostRanges)
            break;
        lines.push_back(rangeLine(run, bad));
    }
    if (run.bad.size() > kMostRanges)
        lines.push_back(counted(run.bad.size() - kMostRanges, "and {n} more range", "and {n} more ranges"));
    std::size_t events = 0;
    for (const RecordedEvents& event : run.events)
        if (event.type == "ERR" && events++ < kMostEvents)
            lines.push_back(event.key + " (" + std::to_string(event.count) + "): " + event.firstMessage +
                            (event.cause.empty() ? "" : " " + event.cause));
    for (const auto& [first, last] : run.unrestored)
        lines.push_back(words("not put back: {sectors}", {{"sectors", rangeFigure(first, last)}}));
    return lines;
}

/// Seconds, as every locale writes them there.
std::string secondsText(double seconds) {
    return zel::format("%.3f", seconds).utf8();
}

/// "2026-11-23T04:00:01", the time of UTC.
std::string timeText(const std::string& recorded) {
    constexpr std::size_t kToSeconds = 19;
    return instantOf(recorded) && recorded.size() >= kToSeconds ? recorded.substr(0, kToSeconds)
                                                                : "1970-01-01T00:00:00";
}

void writeLines(HtmlWriter& xml, const std::vector<std::string>& lines) {
    for (const std::string& line : lines) {
        xml.text(line);
        xml.markup("\n");
    }
}

void writeOutcome(HtmlWriter& xml, const JUnitCase& each) {
    if (each.outcome == Outcome::passed)
        return;
    if (each.outcome == Outcome::skipped) {
        xml.element("skipped", "", {{"message", each.message}});
        return;
    }
    const auto element = xml.open(each.outcome == Outcome::failed ? "failure" : "error",
                                  {{"message", each.message}, {"type", each.type}});
    writeLines(xml, each.details);
}

void writeSuite(HtmlWriter& xml, const JUnitSuite& suite, std::size_t number) {
    const auto element = xml.open("testsuite", {{"name", suite.drive},
                                                {"package", "drivetest"},
                                                {"id", std::to_string(number)},
                                                {"hostname", "localhost"},
                                                {"timestamp", timeText(suite.startTime)},
                                                {"tests", std::to_string(suite.cases.size())},
                                                {"failures", std::to_string(suite.count(Outcome::failed))},
                                                {"errors", std::to_string(suite.count(Outcome::error))},
                                                {"skipped", std::to_string(suite.count(Outcome::skipped))},
                                                {"time", secondsText(suite.seconds())}});
    {
        const auto properties = xml.open("properties");
        for (const auto& [name, value] : suite.properties)
            xml.element("property", "", {{"name", name}, {"value", value}});
    }
    for (const JUnitCase& each : suite.cases) {
        const auto testcase =
            xml.open("testcase",
                     {{"classname", suite.drive}, {"name", each.test}, {"time", secondsText(each.seconds)}});
        writeOutcome(xml, each);
    }
    {
        const auto output = xml.open("system-out");
        writeLines(xml, suite.output);
    }
    xml.element("system-err", "");
}

}  // namespace

JUnitCase JUnitCase::of(const RecordedRun& run) {
    JUnitCase made{run.test, secondsOf(run), outcomeOf(run), run.result, {}, {}};
    if (made.outcome == Outcome::passed)
        return made;
    made.message = Verdict::of(run).sentence;
    if (made.outcome == Outcome::error && !run.problems.empty()) {
        made.type = run.problems.front().symptom;
        made.message += " " + run.problems.front().message;
    }
    made.details = detailsOf(run);
    return made;
}

void JUnitSuite::add(const RecordedRun& run) {
    if (startTime.empty()) {
        startTime = run.startTime;
        properties = {{"path", run.drive.location},
                      {"model", run.drive.model},
                      {"serial", run.drive.serial},
                      {"firmware", run.drive.firmware}};
        std::erase_if(properties, [](const auto& property) { return property.second.empty(); });
    }
    cases.push_back(JUnitCase::of(run));
    std::ranges::copy(explainRun(run), std::back_inserter(output));
}

std::size_t JUnitSuite::count(JUnitCase::Outcome outcome) const {
    return static_cast<std::size_t>(std::ranges::count(cases, outcome, &JUnitCase::outcome));
}

double JUnitSuite::seconds() const {
    double sum = 0;
    for (const JUnitCase& each : cases)
        sum += each.seconds;
    return sum;
}

std::string jUnitText(const std::vector<JUnitSuite>& suites) {
    std::string text;
    HtmlWriter xml([&text](std::string_view part) {
        text += part;
        return true;
    });
    xml.markup("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n");
    {
        const auto all = xml.open("testsuites", {{"name", "drivetest"}});
        for (std::size_t i = 0; i < suites.size(); ++i)
            writeSuite(xml, suites[i], i);
    }
    return xml.finish() ? text : std::string();
}

}  // namespace drivetest
