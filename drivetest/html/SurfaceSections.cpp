#include <algorithm>
#include <array>

#include "drivetest/findings/Figures.h"
#include "drivetest/findings/Verdict.h"
#include "drivetest/html/Sections.h"
#include "drivetest/html/SurfaceData.h"
#include "drivetest/html/Tables.h"
#include "zel/Words.h"

namespace drivetest {

using zel::counted;
using zel::words;

namespace {

/// A page holds no more of them; "--bad-list" writes them all.
constexpr std::size_t kMostListedRanges = 20000;
constexpr std::size_t kMostListedCauses = 50;

constexpr std::array<const char*, 4> kOutcomes{zel::marked("not tested"), zel::marked("good"),
                                               zel::marked("recovered"), zel::marked("failed")};

std::string outcomeText(std::size_t outcome) {
    return words(kOutcomes.at(outcome));
}

/// How many cells had each outcome.
std::array<std::uint64_t, kOutcomes.size()> countOutcomes(const RecordedSurface& surface) {
    std::array<std::uint64_t, kOutcomes.size()> counts{};
    for (const CellOutcome outcome : surface.outcomes)
        ++counts.at(static_cast<std::size_t>(outcome));
    return counts;
}

void writeLegend(HtmlWriter& html, const RecordedSurface& surface) {
    constexpr std::array<const char*, kOutcomes.size()> kStyles{"swatch untested", "swatch good",
                                                                "swatch recovered", "swatch failed"};
    const auto counts = countOutcomes(surface);
    const auto list = html.open("ul", {{"class", "legend"}, {"id", "map-outcomes"}});
    for (std::size_t outcome = 0; outcome < counts.size(); ++outcome) {
        if (counts.at(outcome) == 0)
            continue;
        const auto item = html.open("li");
        html.element("span", "", {{"class", kStyles.at(outcome)}, {"aria-hidden", "true"}});
        html.text(counted(counts.at(outcome), "{outcome}: {count} cell", "{outcome}: {count} cells",
                          {{"outcome", outcomeText(outcome)}, {"count", countFigure(counts.at(outcome))}}));
    }
}

void writeSwitch(HtmlWriter& html) {
    const auto group = html.open(
        "div", {{"class", "switch scripted"}, {"role", "group"}, {"aria-label", words("The map shows")}});
    html.element("button", words("worst outcome"),
                 {{"type", "button"}, {"data-view", "outcomes"}, {"aria-pressed", "true"}});
    html.element("button", words("slowest transfer"),
                 {{"type", "button"}, {"data-view", "slowest"}, {"aria-pressed", "false"}});
}

Json mapData(const RecordedRun& run) {
    Json data = surfaceData(run);
    Json outcomes = Json::array();
    for (std::size_t outcome = 0; outcome < kOutcomes.size(); ++outcome)
        outcomes.push_back(outcomeText(outcome));
    data["words"] = {{"outcomes", std::move(outcomes)},
                     {"sectors", words("Sectors {range}")},
                     {"slowest", words("slowest transfer {latency}")},
                     {"unmeasured", words("no transfer measured")}};
    return data;
}

std::string faultText(const std::string& fault) {
    if (fault == "unreadable")
        return words("unreadable");
    if (fault == "unwritable")
        return words("unwritable");
    if (fault == "unreachable")
        return words("not reached by a seek");
    return fault == "wrongData" ? words("wrong data") : fault;
}

void writeCauses(HtmlWriter& html, const RecordedRun& run) {
    struct Sum {
        std::uint64_t sectors = 0;
        std::uint64_t first = 0;
        std::uint64_t last = 0;
    };
    std::vector<Sum> sums(run.badCauses.size());
    for (const RecordedBad& range : run.bad) {
        Sum& sum = sums.at(range.cause);
        if (sum.sectors == 0)
            sum.first = range.first;
        sum.last = std::max(sum.last, range.last);
        sum.sectors += range.last - range.first + 1;
    }
    Table table(html, words("Bad sectors by what is wrong with them"),
                {{words("Fault")},
                 {words("Sectors"), true},
                 {words("First LBA"), true},
                 {words("Last LBA"), true},
                 {words("The drive's words")}});
    for (std::size_t i = 0; i < std::min(sums.size(), kMostListedCauses); ++i)
        table.row({faultText(run.badCauses[i].fault), countFigure(sums[i].sectors),
                   std::to_string(sums[i].first), std::to_string(sums[i].last), run.badCauses[i].words});
}

}  // namespace

void writeSurface(HtmlWriter& html, const RecordedRun& run) {
    const Section section(html, "surface", words("Surface"));
    if (!run.surface || run.surface->cells() == 0) {
        html.element("p", words("The record has no map of the surface."));
        return;
    }
    const RecordedSurface& surface = *run.surface;
    html.element("p",
                 counted(surface.sectorsPerCell,
                         "The map goes from the first sector, at the top left, to the last, line by line. "
                         "It has {cells} cells of {n} sector.",
                         "The map goes from the first sector, at the top left, to the last, line by line. "
                         "It has {cells} cells of {n} sectors.",
                         {{"cells", countFigure(surface.cells())}}));
    if (!isWholeDrive(run))
        html.element(
            "p", words("Not all sectors were tested: a cell is good when all that was tested in it is good."),
            {{"class", "note"}});
    writeSwitch(html);
    html.element("canvas", "",
                 {{"id", "map"},
                  {"class", "scripted"},
                  {"role", "img"},
                  {"tabindex", "0"},
                  {"aria-label", words("Map of the surface; the arrow keys go from cell to cell")}});
    html.element("p", words("Point at the map to see what a cell holds."),
                 {{"id", "map-told"}, {"class", "told scripted"}, {"aria-live", "polite"}});
    writeLegend(html, surface);
    html.element("div", "", {{"class", "legend scripted"}, {"id", "map-scale"}, {"hidden", ""}});
    html.markup("<noscript>");
    html.element("p", words("The map itself needs a browser that runs scripts."));
    html.markup("</noscript>");
    html.data("map-data", mapData(run));
}

void writeBadSectors(HtmlWriter& html, const RecordedRun& run) {
    if (run.bad.empty())
        return;
    const Section section(html, "bad", words("Bad sectors"));
    writeCauses(html, run);
    const std::size_t shown = std::min(run.bad.size(), kMostListedRanges);
    html.element("h3", words("All of them: first-last LBA, count, fault"), {{"id", "bad-list-heading"}});
    if (shown < run.bad.size())
        html.element("p", words("Shown are the first {shown} of {all} ranges; the record has them all.",
                                {{"shown", countFigure(shown)}, {"all", countFigure(run.bad.size())}}));
    const auto list = html.open("pre", {{"id", "bad-list"},
                                        {"class", "copied list"},
                                        {"tabindex", "0"},
                                        {"aria-labelledby", "bad-list-heading"},
                                        {"role", "region"}});
    for (std::size_t i = 0; i < shown; ++i) {
        const RecordedBad& range = run.bad[i];
        html.text(rangeFigure(range.first, range.last) + " " + std::to_string(range.last - range.first + 1) +
                  " " + run.badCauses.at(range.cause).fault);
        html.markup("\n");
    }
}

}  // namespace drivetest
