#include <algorithm>
#include <utility>

#include "drivetest/findings/Figures.h"
#include "drivetest/findings/RunComparison.h"
#include "drivetest/html/Sections.h"
#include "drivetest/html/Tables.h"
#include "zel/Words.h"

namespace drivetest {

using zel::counted;
using zel::words;

namespace {

constexpr std::size_t kMostShown = 20;

std::string rateOf(const RecordedRun& run, const char* name) {
    const RecordedMeasurement* const rate = run.measurement(name);
    return rate != nullptr ? rateFigure(rate->value) : std::string();
}

std::string p99Of(const RecordedRun& run) {
    return run.latencies.empty() ? std::string() : latencyFigure(run.latencies.front().p99Us);
}

void writeRuns(HtmlWriter& html, const std::vector<RecordedRun>& all) {
    Table table(html, words("The runs of this drive, the newest first"),
                {{words("Date")},
                 {words("Test")},
                 {words("Result")},
                 {words("Bad sectors"), true},
                 {words("Mean read rate"), true},
                 {words("Mean write rate"), true},
                 {"p99", true}});
    for (auto run = all.rbegin(); run != all.rend(); ++run)
        table.row({timeFigure(run->startTime), run->test, run->isCutOff ? words("broken off") : run->result,
                   countFigure(run->badSectors()), rateOf(*run, "readRate"), rateOf(*run, "writeRate"),
                   p99Of(*run)});
}

void writeRanges(HtmlWriter& html, const std::vector<RunComparison::Range>& ranges) {
    std::string list;
    for (std::size_t i = 0; i < std::min(ranges.size(), kMostShown); ++i)
        list += (i == 0 ? "" : ", ") + rangeFigure(ranges[i].first, ranges[i].second);
    html.element("p", ranges.size() > kMostShown ? list + ", …" : list, {{"class", "ranges"}});
}

void writeBad(HtmlWriter& html, const RunComparison& comparison) {
    const std::uint64_t added = sectorsOf(comparison.newBad);
    if (added == 0) {
        html.element("p", words("No sector is bad that was not bad in the run before."));
    } else {
        html.element("p",
                     counted(added, "{n} sector is bad that was not bad in the run before:",
                             "{n} sectors are bad that were not bad in the run before:"),
                     {{"class", "alert"}});
        writeRanges(html, comparison.newBad);
    }
    if (const std::uint64_t gone = sectorsOf(comparison.noMoreBad); gone != 0) {
        html.element("p",
                     counted(gone, "{n} sector was bad in the run before and was not found bad this time:",
                             "{n} sectors were bad in the run before and were not found bad this time:"));
        writeRanges(html, comparison.noMoreBad);
    }
}

void writeSlower(HtmlWriter& html, std::vector<RunComparison::SlowerRegion> slower) {
    if (slower.empty()) {
        html.element("p", words("No region is slower by more than a fifth."));
        return;
    }
    std::sort(slower.begin(), slower.end(), [](const auto& a, const auto& b) {
        return std::pair(a.now / a.before, a.first) < std::pair(b.now / b.before, b.first);
    });
    Table table(html, words("Regions that are slower by more than a fifth"),
                {{words("Sectors")}, {words("Before"), true}, {words("Now"), true}});
    for (std::size_t i = 0; i < std::min(slower.size(), kMostShown); ++i)
        table.row({rangeFigure(slower[i].first, slower[i].last), rateFigure(slower[i].before),
                   rateFigure(slower[i].now)});
}

void writeSlowerTransfers(HtmlWriter& html, const std::vector<RunComparison::SlowerTransfer>& slower) {
    if (slower.empty())
        return;
    Table table(html, words("Sectors that became slow"),
                {{words("Sectors")}, {words("Before"), true}, {words("Now"), true}});
    for (const RunComparison::SlowerTransfer& each : slower)
        table.row({rangeFigure(each.sectors.first, each.sectors.second), latencyFigure(each.beforeUs),
                   latencyFigure(each.nowUs)});
}

}  // namespace

void writeComparison(HtmlWriter& html, const std::vector<RecordedRun>& all) {
    if (all.size() < 2)
        return;
    const Section section(html, "comparison", words("Since the run before"));
    const RunComparison comparison = RunComparison::of(all[all.size() - 2], all.back());
    writeBad(html, comparison);
    writeSlower(html, comparison.slower);
    writeSlowerTransfers(html, comparison.slowerTransfers);
    writeRuns(html, all);
}

}  // namespace drivetest
