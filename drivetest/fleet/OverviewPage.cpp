#include "drivetest/fleet/OverviewPage.h"

#include <algorithm>
#include <functional>
#include <tuple>

#include "drivetest/findings/Figures.h"
#include "drivetest/fleet/FleetTable.h"
#include "drivetest/fleet/OverviewCells.h"
#include "drivetest/fleet/OverviewSections.h"
#include "drivetest/html/PageFiles.h"
#include "drivetest/html/PageHead.h"
#include "drivetest/html/Tables.h"
#include "drivetest/terminal/Language.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::counted;
using zel::words;

// What a page has room for.
constexpr std::size_t kMostDrives = 2000;
constexpr std::size_t kMostLeftOut = 200;

void writeResults(HtmlWriter& html, const Fleet& fleet) {
    const Section section(html, "results", words("Results"));
    html.element("p", words("Each drive counts by the worst of the newest runs of its tests."),
                 {{"class", "note"}});
    FleetTable table(html, words("Drives by their result"), {{words("Result")}, {words("Drives"), true}},
                     kResults);
    const auto counts = fleet.results();
    std::vector<std::size_t> results;
    for (std::size_t result = 0; result < kResults; ++result)
        if (counts.at(result) > 0)
            results.push_back(result);
    std::ranges::sort(results, std::greater(), severityOf);
    for (const std::size_t result : results)
        table.row({{resultText(result)}, countCell(counts.at(result))});
}

void writeDrives(HtmlWriter& html, const Fleet& fleet, const std::string& folder) {
    std::vector<const FleetDrive*> drives;
    for (const FleetDrive& drive : fleet.drives())
        drives.push_back(&drive);
    std::ranges::stable_sort(drives, std::greater(), [](const FleetDrive* each) {
        return std::tuple(severityOf(each->result), each->badSectors);
    });
    const Section section(html, "drives", words("Drives"));
    {
        FleetTable table(html, words("Drives, the worst first"),
                         {{words("Drive")},
                          {words("Firmware")},
                          {words("Test")},
                          {words("Result")},
                          {words("Bad sectors"), true},
                          {words("Reading"), true},
                          {words("Time under power"), true},
                          {words("Runs"), true},
                          {words("Files")},
                          {words("Last run")}},
                         kMostDrives);
        for (const FleetDrive* const drive : drives)
            if (table.hasRoom())
                table.row({{nameOf(drive->drive)},
                           textCell(drive->drive.firmware),
                           {drive->test},
                           {resultText(drive->result)},
                           countCell(drive->badSectors),
                           rateCell(drive->readRate),
                           hoursCell(drive->powerOnHours),
                           countCell(drive->runs),
                           filesCell(drive->record, folder),
                           {timeFigure(drive->lastTime)}});
    }
    writeRest(html, drives.size(), kMostDrives);
}

void writeLeftOut(HtmlWriter& html, const LeftOut& leftOut) {
    if (leftOut.count() == 0)
        return;
    const Section section(html, "left-out", words("Left out"));
    html.element("p", counted(leftOut.count(), "{n} file could not be read:", "{n} files could not be read:",
                              {{"n", countFigure(leftOut.count())}}));
    {
        const auto list = html.open("ul");
        for (std::size_t i = 0; i < std::min(leftOut.sentences().size(), kMostLeftOut); ++i)
            html.element("li", leftOut.sentences()[i]);
    }
    writeRest(html, leftOut.count(), kMostLeftOut);
}

void writeHeader(HtmlWriter& html, const Fleet& fleet, const std::string& title, const OverviewPlace& place) {
    const auto header = html.open("header");
    html.element("h1", title);
    double bytes = 0;
    std::string first;
    std::string last;
    for (const FleetDrive& drive : fleet.drives()) {
        bytes += static_cast<double>(drive.drive.sectors) * drive.drive.sectorBytes;
        last = std::max(last, drive.lastTime);
        first = first.empty() ? drive.lastTime : std::min(first, drive.lastTime);
    }
    Facts facts(html);
    facts.add(words("Folder"), shortText(place.records));
    facts.add(words("Drives"), countFigure(fleet.drives().size()));
    facts.add(words("Runs"), countFigure(fleet.runs()));
    facts.add(words("Capacity"), sizeFigure(bytes));
    facts.add(words("Newest run"), timeFigure(last));
    facts.add(words("The drive whose newest run is the oldest"), timeFigure(first));
}

}  // namespace

bool writeOverview(const Fleet& fleet, const LeftOut& leftOut, const OverviewPlace& place,
                   HtmlWriter::Sink sink) {
    HtmlWriter html(std::move(sink));
    const std::string nonce = makeNonce();
    const std::string title = words("Overview of drive tests");
    html.markup("<!DOCTYPE html>\n");
    {
        const auto page = html.open("html", {{"lang", languageOfTexts()}});
        writePageHead(html, title, {kPageStyle}, nonce);
        const auto body = html.open("body");
        {
            const auto main = html.open("main");
            writeHeader(html, fleet, title, place);
            writeResults(html, fleet);
            writeModels(html, fleet);
            writeWorse(html, fleet, place.page);
            writeSlow(html, fleet, place.page);
            writeOldest(html, fleet);
            writeDrives(html, fleet, place.page);
            writeLeftOut(html, leftOut);
        }
        writeScript(html, kSortScript, nonce);
    }
    return html.finish();
}

}  // namespace drivetest
