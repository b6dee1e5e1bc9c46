#include "drivetest/shelf/ShelfReport.h"

#include <array>

#include "drivetest/ExitStatus.h"
#include "drivetest/findings/Figures.h"
#include "drivetest/html/HtmlWriter.h"
#include "drivetest/html/PageFiles.h"
#include "drivetest/html/Tables.h"
#include "drivetest/run/NewFile.h"
#include "drivetest/shelf/ShelfSummary.h"
#include "drivetest/terminal/Language.h"
#include "zel/Format.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

/// RFC 3986: a file of the same folder, whatever its name.
std::string linkTo(const std::string& path) {
    constexpr std::string_view kUnreserved = "-._~";
    std::string link = "./";
    for (const char letter : zel::textOf(zel::pathOf(path).filename())) {
        const bool isPlain = (letter >= '0' && letter <= '9') || (letter >= 'A' && letter <= 'Z') ||
                             (letter >= 'a' && letter <= 'z') ||
                             kUnreserved.find(letter) != std::string::npos;
        link += isPlain ? std::string(1, letter)
                        : zel::format("%%%02X", static_cast<unsigned char>(letter)).utf8();
    }
    return link;
}

constexpr const char* kSound = "sound";
constexpr const char* kDoubted = "doubted";
constexpr const char* kFaulty = "faulty";

/// How the page shows a result; neither good nor bad is what says nothing of the drive.
const char* styleOf(int status) {
    switch (status) {
        case kExitPass:
            return kSound;
        case kExitWarn:
            return kDoubted;
        case kExitFail:
        case kExitNotRestored:
            return kFaulty;
        default:
            return "open";
    }
}

std::string resultStyle(const RunOutcome& outcome) {
    return std::string("text ") + (outcome.end == RunEnd::leftOut ? "open" : styleOf(outcome.status));
}

void writeLink(HtmlWriter& html, bool isThere, const std::string& path, const std::string& text) {
    const auto cell = html.open("td", {{"class", "text"}});
    if (isThere)
        html.element("a", text, {{"href", linkTo(path)}});
    else
        html.text("–");
}

void writeRun(HtmlWriter& html, const ShelfDrive& drive, const RunOutcome& outcome) {
    const auto row = html.open("tr");
    html.element("th", drive.work().name, {{"scope", "row"}, {"class", "text"}});
    html.element("td", outcome.test, {{"class", "text"}});
    html.element("td", resultText(outcome), {{"class", resultStyle(outcome)}});
    html.element("td", outcome.hasFigures() ? countFigure(outcome.badSectors) : "–", {{"class", "number"}});
    html.element("td", outcome.hasFigures() ? ratesText(outcome) : "–", {{"class", "number"}});
    writeLink(html, outcome.hasReport, outcome.files.report, words("report"));
    writeLink(html, outcome.hasRecord, outcome.files.record, words("record"));
    writeLink(html, !outcome.files.log.empty(), outcome.files.log, words("log"));
    html.element("td", outcome.words, {{"class", "text"}});
}

void writeTable(HtmlWriter& html, const std::vector<ShelfDrive>& drives) {
    const Table table(html, words("Drives"),
                      {{words("Drive")},
                       {words("Test")},
                       {words("Result")},
                       {words("Bad sectors"), true},
                       {words("Rate"), true},
                       {words("Report")},
                       {words("Record")},
                       {words("Log")},
                       {words("Remarks")}});
    for (const ShelfDrive& drive : drives)
        for (const RunOutcome& outcome : drive.outcomes())
            writeRun(html, drive, outcome);
}

void writeVerdictOf(HtmlWriter& html, const std::vector<ShelfDrive>& drives) {
    std::vector<int> statuses;
    statuses.reserve(drives.size());
    for (const ShelfDrive& drive : drives)
        statuses.push_back(drive.worstStatus());
    const std::string style = styleOf(worstStatus(statuses));
    const char* const mark = style == kSound ? "✓" : style == kDoubted ? "!" : style == kFaulty ? "✗" : "?";
    const auto line = html.open("p", {{"class", "verdict " + style}});
    html.element("span", mark, {{"class", "mark"}, {"aria-hidden", "true"}});
    html.element("span", zel::counted(drives.size(), "{n} drive: {results}", "{n} drives: {results}",
                                      {{"results", resultCounts(drives)}}));
}

void writePage(HtmlWriter& html, const std::vector<ShelfDrive>& drives,
               const std::vector<std::string>& notes) {
    html.markup("<!DOCTYPE html>\n");
    const auto page = html.open("html", {{"lang", languageOfTexts()}});
    const std::string title = words("Test of several drives");
    {
        const auto head = html.open("head");
        html.markup("<meta charset=\"utf-8\">\n");
        html.markup(
            "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src "
            "'unsafe-inline'; base-uri 'none'; form-action 'none'\">\n");
        html.markup("<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n");
        html.markup("<meta name=\"color-scheme\" content=\"light dark\">\n");
        html.element("title", title);
        html.markup("<style>\n");
        html.markup(kPageStyle);
        html.markup("</style>\n");
    }
    const auto body = html.open("body");
    const auto main = html.open("main");
    {
        const auto header = html.open("header");
        html.element("h1", title);
        writeVerdictOf(html, drives);
    }
    writeTable(html, drives);
    for (const std::string& note : notes)
        html.element("p", note, {{"class", "note"}});
}

}  // namespace

bool writeShelfReport(const std::vector<ShelfDrive>& drives, const std::vector<std::string>& notes,
                      const std::string& path, std::string& problem) {
    NewFile file(path, false);
    const auto write = [&] {
        if (!file.open())
            return false;
        HtmlWriter html([&file](std::string_view part) { return file.write(part); });
        writePage(html, drives, notes);
        return html.finish() && file.keep();
    };
    const bool isWritten = write();
    problem = file.problem();
    return isWritten;
}

}  // namespace drivetest
