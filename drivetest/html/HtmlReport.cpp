#include "drivetest/html/HtmlReport.h"

#include <string>
#include <string_view>

#include "drivetest/html/PageFiles.h"
#include "drivetest/html/PageHead.h"
#include "drivetest/html/Sections.h"
#include "drivetest/terminal/Language.h"
#include "zel/Words.h"

namespace drivetest {

using zel::words;

namespace {

std::string titleOf(const RecordedDrive& drive) {
    const std::string name = drive.model.empty() ? drive.location : drive.model;
    return drive.serial.empty() ? name : name + ", " + drive.serial;
}

void writeBody(HtmlWriter& html, const std::vector<RecordedRun>& runs) {
    const RecordedRun& run = runs.back();
    const auto main = html.open("main");
    {
        const auto header = html.open("header");
        html.element("p", words("Report of a drive test"), {{"class", "kind"}});
        html.element("h1", titleOf(run.drive));
        writeVerdict(html, run);
    }
    writeGrade(html, run);
    writeDrive(html, run);
    writeComparison(html, runs);
    writeSurface(html, run);
    writeBadSectors(html, run);
    writeRates(html, run);
    writeLatencies(html, run);
    writeTransfers(html, run);
    writeHealth(html, run);
    writeEvents(html, run);
    writeCourse(html, run);
}

void writeScripts(HtmlWriter& html, const std::string& nonce) {
    html.data("page-data", {{"decimalPoint", words(".")},
                            {"words", {{"copy", words("Copy")}, {"copied", words("Copied")}}}});
    for (const std::string_view script : {kCurveScript, kPageScript})
        writeScript(html, script, nonce);
}

}  // namespace

bool writeHtmlReport(const std::vector<RecordedRun>& runs, HtmlWriter::Sink sink) {
    HtmlWriter html(std::move(sink));
    const std::string nonce = makeNonce();
    html.markup("<!DOCTYPE html>\n");
    {
        const auto page = html.open("html", {{"lang", languageOfTexts()}});
        writePageHead(html, words("Test of {drive}", {{"drive", titleOf(runs.back().drive)}}),
                      {kCurveStyle, kPageStyle}, nonce);
        const auto body = html.open("body");
        writeBody(html, runs);
        writeScripts(html, nonce);
    }
    return html.finish();
}

}  // namespace drivetest
