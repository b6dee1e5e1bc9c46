#include "drivetest/html/HtmlReport.h"

#include <random>
#include <string>

#include "drivetest/html/PageFiles.h"
#include "drivetest/html/Sections.h"
#include "drivetest/terminal/Language.h"
#include "zel/Format.h"
#include "zel/Words.h"

namespace drivetest {

using zel::words;

namespace {

/// Only scripts that carry it run: whatever a text might smuggle in cannot know it.
std::string makeNonce() {
    std::random_device random;
    std::string nonce;
    for (int i = 0; i < 4; ++i)
        nonce += zel::format("%08x", random()).utf8();
    return nonce;
}

std::string titleOf(const RecordedDrive& drive) {
    const std::string name = drive.model.empty() ? drive.location : drive.model;
    return drive.serial.empty() ? name : name + ", " + drive.serial;
}

void writeHead(HtmlWriter& html, const RecordedRun& run, const std::string& nonce) {
    const auto head = html.open("head");
    html.markup("<meta charset=\"utf-8\">\n");
    html.markup(
        "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; script-src 'nonce-");
    html.text(nonce);
    html.markup("'; style-src 'unsafe-inline'; base-uri 'none'; form-action 'none'\">\n");
    html.markup("<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n");
    html.markup("<meta name=\"color-scheme\" content=\"light dark\">\n");
    html.element("title", words("Test of {drive}", {{"drive", titleOf(run.drive)}}));
    html.markup("<style>\n");
    html.markup(kCurveStyle);
    html.markup(kPageStyle);
    html.markup("</style>\n");
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
    for (const std::string_view script : {kCurveScript, kPageScript}) {
        html.markup("<script nonce=\"");
        html.text(nonce);
        html.markup("\">\n");
        html.markup(script);
        html.markup("</script>\n");
    }
}

}  // namespace

bool writeHtmlReport(const std::vector<RecordedRun>& runs, HtmlWriter::Sink sink) {
    HtmlWriter html(std::move(sink));
    const std::string nonce = makeNonce();
    html.markup("<!DOCTYPE html>\n");
    {
        const auto page = html.open("html", {{"lang", languageOfTexts()}});
        writeHead(html, runs.back(), nonce);
        const auto body = html.open("body");
        writeBody(html, runs);
        writeScripts(html, nonce);
    }
    return html.finish();
}

}  // namespace drivetest
