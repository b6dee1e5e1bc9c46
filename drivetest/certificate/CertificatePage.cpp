#include "drivetest/certificate/CertificatePage.h"

#include <algorithm>

#include "drivetest/certificate/CertificateData.h"
#include "drivetest/findings/Figures.h"
#include "drivetest/findings/Verdict.h"
#include "drivetest/grade/GradeText.h"
#include "drivetest/html/HtmlWriter.h"
#include "drivetest/html/PageFiles.h"
#include "drivetest/html/Sections.h"
#include "drivetest/html/Tables.h"
#include "drivetest/terminal/Columns.h"
#include "drivetest/terminal/Language.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::counted;
using zel::words;

/// More would not fit on the page.
constexpr std::size_t kMostRanges = 12;
constexpr std::size_t kMostColumns = 100;
/// No command set has longer names.
constexpr std::size_t kMostNameColumns = 48;

std::string parameterOf(const RecordedRun& run, const char* name) {
    for (const auto& [each, value] : run.parameters)
        if (each == name)
            return value;
    return {};
}

std::string rangeText(const RecordedRun& run) {
    const std::string first = parameterOf(run, "StartRange");
    const std::string last = parameterOf(run, "EndRange");
    if (first.empty() || last.empty())
        return {};
    if (first == "MIN" && last == "MAX")
        return words("all sectors");
    return words("from {first} to {last}", {{"first", first}, {"last", last}});
}

/// Ranges whatever their cause: those that touch are one.
std::vector<std::pair<std::uint64_t, std::uint64_t>> badRanges(const RecordedRun& run) {
    std::vector<std::pair<std::uint64_t, std::uint64_t>> ranges;
    for (const RecordedBad& bad : run.bad)
        if (!ranges.empty() && bad.first <= ranges.back().second + 1)
            ranges.back().second = std::max(ranges.back().second, bad.last);
        else
            ranges.emplace_back(bad.first, bad.last);
    return ranges;
}

std::string badText(const RecordedRun& run) {
    const auto ranges = badRanges(run);
    if (ranges.empty())
        return words("none found");
    std::string list;
    for (std::size_t i = 0; i < std::min(ranges.size(), kMostRanges); ++i)
        list += (i == 0 ? "" : ", ") + rangeFigure(ranges[i].first, ranges[i].second);
    std::string text =
        words("{count}: LBA {ranges}", {{"count", countFigure(run.badSectors())}, {"ranges", list}});
    if (ranges.size() <= kMostRanges)
        return text;
    return text + " " + counted(ranges.size() - kMostRanges, "and {n} more range", "and {n} more ranges");
}

std::string slowText(const RecordedRun& run) {
    if (!run.slowness)
        return {};
    std::string text = run.slowness->over150ms == 0
                           ? words("none longer than 150 ms")
                           : words("{slow} longer than 150 ms, {verySlow} of them longer than 500 ms",
                                   {{"slow", countFigure(run.slowness->over150ms)},
                                    {"verySlow", countFigure(run.slowness->over500ms)}});
    if (run.slowness->slowest.empty())
        return text;
    const RecordedTransfer& worst = run.slowness->slowest.front();
    return text + "; " +
           words("the slowest took {time} (LBA {range})", {{"time", latencyFigure(worst.durationUs)},
                                                           {"range", rangeFigure(worst.first, worst.last)}});
}

/// With the first reason; empty where no grade was asked for.
std::string gradeText(const RecordedRun& run) {
    if (!run.grade)
        return {};
    const std::vector<std::string> reasons = gradeReasons(*run.grade);
    const std::string text =
        shortened(gradeLine(*run.grade), kMostColumns) + ". " + shortened(reasons.front(), 2 * kMostColumns);
    return reasons.size() == 1
               ? text
               : text + " " + counted(reasons.size() - 1, "and {n} more reason", "and {n} more reasons");
}

/// Whatever the record says, it does not push the rest off the page.
RecordedRun fitted(RecordedRun run) {
    for (std::string* const name : {&run.drive.manufacturer, &run.drive.model, &run.drive.serial,
                                    &run.drive.firmware, &run.drive.method, &run.test, &run.programVersion})
        *name = shortened(*name, kMostNameColumns);
    for (std::string* const text :
         {&run.drive.location, &run.journal, &run.file, &run.startTime, &run.lastTime})
        *text = shortened(*text, kMostColumns);
    for (auto& [name, value] : run.parameters)
        value = shortened(value, kMostNameColumns);
    return run;
}

std::string subjectOf(const RecordedDrive& drive) {
    const std::string name = drive.model.empty() ? drive.location : drive.model;
    return drive.serial.empty() ? name : name + ", " + drive.serial;
}

void writeHead(HtmlWriter& html, const RecordedRun& run) {
    const auto head = html.open("head");
    html.markup("<meta charset=\"utf-8\">\n");
    html.markup(
        "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
        "style-src 'unsafe-inline'; base-uri 'none'; form-action 'none'\">\n");
    html.markup("<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n");
    html.element("title", words("Certificate: {drive}", {{"drive", subjectOf(run.drive)}}));
    html.markup("<style>\n");
    html.markup(kCertificateStyle);
    html.markup("</style>\n");
}

void writeWhatWasDone(HtmlWriter& html, const RecordedRun& run) {
    const Section section(html, "test", words("What was done"));
    Facts facts(html);
    facts.add(words("Test"), run.test);
    facts.add(words("Range"), rangeText(run));
    facts.add(words("Coverage"), run.coverage ? coverageText(*run.coverage) : words("not recorded"));
    facts.add(words("Share of the whole drive"), partOfDrive(run));
    facts.add(words("Reached by"), methodText(run.drive.method));
    facts.add(words("Began"), timeFigure(run.startTime));
    facts.add(words("Ended"), timeFigure(run.lastTime));
    facts.add(words("Duration"), durationFigure(secondsOf(run)));
    if (!run.pauses.empty())
        facts.add(words("Resumed"), zel::counted(run.pauses.size(), "{n} time", "{n} times"));
}

void writeFindings(HtmlWriter& html, const RecordedRun& run) {
    const Section section(html, "findings", words("What was found"));
    Facts facts(html);
    facts.add(words("Result"), run.result);
    facts.add(words("Grade"), gradeText(run));
    facts.add(words("Bad sectors"), badText(run));
    facts.add(words("Slow transfers"), slowText(run));
    facts.add(words("Errors"), countFigure(run.errors));
    facts.add(words("Warnings"), countFigure(run.warnings));
}

void writeOrigin(HtmlWriter& html, const RecordedRun& run, const std::string& sha256) {
    const Section section(html, "origin", words("What this rests on"));
    {
        Facts facts(html);
        facts.add(words("Program"), run.program + " " + run.programVersion);
        facts.add(words("Record"), run.file);
    }
    html.element("p", "SHA-256 " + sha256, {{"class", "digest"}});
    html.element("p",
                 words("This certificate tells what one run of a test found, and no more. \"drivetest verify "
                       "CERTIFICATE RECORD\" tells whether it was made from that record."),
                 {{"class", "note"}});
}

}  // namespace

std::string makeCertificate(const RecordedRun& run, const std::string& sha256) {
    const RecordedRun shown = fitted(run);
    std::string page;
    HtmlWriter html([&page](std::string_view part) {
        page += part;
        return true;
    });
    html.markup("<!DOCTYPE html>\n");
    {
        const auto root = html.open("html", {{"lang", languageOfTexts()}});
        writeHead(html, shown);
        const auto body = html.open("body");
        const auto main = html.open("main");
        {
            const auto header = html.open("header");
            html.element("h1", words("Certificate of a drive test"));
            html.element("p", subjectOf(shown.drive), {{"class", "subject"}});
        }
        writeVerdictLine(html, Verdict::of(shown));
        writeUnrestored(html, shown);
        writeDrive(html, shown);
        writeWhatWasDone(html, shown);
        writeFindings(html, shown);
        writeOrigin(html, shown, sha256);
        CertificateData{run.file, sha256, DRIVETEST_VERSION, languageOfTexts()}.write(html);
    }
    return html.finish() ? page : std::string();
}

}  // namespace drivetest
