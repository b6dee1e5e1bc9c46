#include "drivetest/fleet/OverviewSections.h"

#include <algorithm>
#include <functional>
#include <tuple>
#include <vector>

#include "drivetest/findings/Figures.h"
#include "drivetest/fleet/FleetTable.h"
#include "drivetest/fleet/ModelFigures.h"
#include "drivetest/fleet/OverviewCells.h"
#include "drivetest/html/Tables.h"
#include "zel/Words.h"

namespace drivetest {

using zel::counted;
using zel::words;
using Cell = FleetTable::Cell;

namespace {

// What a page has room for.
constexpr std::size_t kMostModels = 500;
constexpr std::size_t kMostFindings = 500;
constexpr std::size_t kOldest = 50;

std::string healthText(const Worsening& worsening) {
    std::string text;
    for (const HealthChange& change : worsening.health)
        text += (text.empty() ? "" : "; ") + changeText(change);
    return text;
}

struct WorseDrive {
    const FleetDrive* drive;
    const Worsening* worsening;
};

std::vector<WorseDrive> worseDrives(const Fleet& fleet) {
    std::vector<WorseDrive> worse;
    for (const FleetDrive& drive : fleet.drives())
        for (const Worsening& worsening : drive.worse)
            worse.push_back({&drive, &worsening});
    std::ranges::stable_sort(worse, [](const WorseDrive& a, const WorseDrive& b) {
        return std::tuple(a.worsening->newBad, a.worsening->health.size(), a.worsening->slowerRegions) >
               std::tuple(b.worsening->newBad, b.worsening->health.size(), b.worsening->slowerRegions);
    });
    return worse;
}

}  // namespace

void writeModels(HtmlWriter& html, const Fleet& fleet) {
    const Section section(html, "models", words("Models and firmware"));
    const std::vector<ModelFigures> models = figuresOfModels(fleet.drives());
    {
        FleetTable table(html, words("Bad sectors by model and firmware"),
                         {{words("Model")},
                          {words("Firmware")},
                          {words("Drives"), true},
                          {words("Drives with bad sectors"), true},
                          {words("Bad sectors"), true},
                          {words("Median of the reading rates"), true}},
                         kMostModels);
        for (const ModelFigures& model : models)
            if (table.hasRoom())
                table.row({textCell(model.model), textCell(model.firmware), countCell(model.drives),
                           countCell(model.drivesWithBad), countCell(model.badSectors),
                           rateCell(model.medianRate)});
    }
    writeRest(html, models.size(), kMostModels);
}

void writeWorse(HtmlWriter& html, const Fleet& fleet, const std::string& folder) {
    const Section section(html, "worse", words("Drives that got worse"));
    const std::vector<WorseDrive> worse = worseDrives(fleet);
    if (worse.empty()) {
        html.element("p", words("No drive was worse in the newest run of a test than in the run before."));
        return;
    }
    {
        FleetTable table(html, words("The newest run of a test against the one before"),
                         {{words("Drive")},
                          {words("Test")},
                          {words("New bad sectors"), true},
                          {words("Regions slower by more than a fifth"), true},
                          {words("The slowest, of its rate before"), true},
                          {words("What the drive says of itself")},
                          {words("Before")},
                          {words("Now")}},
                         kMostFindings);
        for (const auto& [drive, worsening] : worse)
            if (table.hasRoom())
                table.row({{nameOf(drive->drive)},
                           {worsening->test},
                           countCell(worsening->newBad),
                           countCell(worsening->slowerRegions),
                           worsening->slowerRegions == 0 ? Cell{"–"} : shareCell(worsening->slowestShare),
                           textCell(healthText(*worsening)),
                           filesCell(worsening->before, folder),
                           filesCell(worsening->now, folder)});
    }
    writeRest(html, worse.size(), kMostFindings);
}

void writeSlow(HtmlWriter& html, const Fleet& fleet, const std::string& folder) {
    const Section section(html, "slow", words("Slow regions"));
    std::size_t compared = 0;
    const std::vector<SlowPart> parts = slowParts(fleet.drives(), compared);
    html.element("p",
                 counted(compared,
                         "The regions of {n} drive were held against the median of its model, of which at "
                         "least {least} drives were measured.",
                         "The regions of {n} drives were held against the median of their model, of which at "
                         "least {least} drives were measured.",
                         {{"n", countFigure(compared)}, {"least", kFewestOfModel}}),
                 {{"class", "note"}});
    if (parts.empty()) {
        html.element("p", words("No region is slower than its model's by more than a fifth."));
        return;
    }
    {
        FleetTable table(html, words("Regions that are slower than their model's by more than a fifth"),
                         {{words("Drive")},
                          {words("Sectors")},
                          {words("Rate"), true},
                          {words("Usual rate"), true},
                          {words("Share"), true},
                          {words("Files")}},
                         kMostFindings);
        for (const SlowPart& part : parts)
            if (table.hasRoom())
                table.row({{nameOf(part.drive->drive)},
                           {rangeFigure(part.first, part.last)},
                           rateCell(part.rate),
                           rateCell(part.usual),
                           shareCell(part.rate / part.usual),
                           filesCell(part.drive->record, folder)});
    }
    writeRest(html, parts.size(), kMostFindings);
}

void writeOldest(HtmlWriter& html, const Fleet& fleet) {
    std::vector<const FleetDrive*> old;
    for (const FleetDrive& drive : fleet.drives())
        if (drive.powerOnHours)
            old.push_back(&drive);
    const Section section(html, "oldest", words("Oldest drives"));
    html.element("p",
                 words("By their time under power, which {n} of {all} drives tell.",
                       {{"n", countFigure(old.size())}, {"all", countFigure(fleet.drives().size())}}),
                 {{"class", "note"}});
    if (old.empty())
        return;
    std::ranges::stable_sort(old, std::greater(), [](const FleetDrive* each) { return *each->powerOnHours; });
    FleetTable table(html, words("Drives by their time under power"),
                     {{words("Drive")},
                      {words("Time under power"), true},
                      {words("Result")},
                      {words("Bad sectors"), true},
                      {words("Reading"), true}},
                     kOldest);
    for (const FleetDrive* const drive : old)
        if (table.hasRoom())
            table.row({{nameOf(drive->drive)},
                       hoursCell(drive->powerOnHours),
                       {resultText(drive->result)},
                       countCell(drive->badSectors),
                       rateCell(drive->readRate)});
}

}  // namespace drivetest
