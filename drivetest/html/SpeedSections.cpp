#include <algorithm>
#include <bit>
#include <cmath>
#include <map>
#include <tuple>

#include "drivetest/findings/Figures.h"
#include "drivetest/findings/RegionRates.h"
#include "drivetest/html/Sections.h"
#include "drivetest/html/Tables.h"
#include "drivetest/terminal/Language.h"
#include "zel/Format.h"
#include "zel/Words.h"

namespace drivetest {

using zel::words;

namespace {

constexpr std::size_t kSlowestRegions = 5;
constexpr std::size_t kSlowestTransfers = 20;

std::string operationText(const std::string& operation) {
    if (operation == "read")
        return words("Reading");
    if (operation == "write")
        return words("Writing");
    if (operation == "seek")
        return words("Seeking");
    return operation == "flush" ? words("Flushing") : operation;
}

std::string directionText(RegionRates::Direction::Kind kind) {
    using Kind = RegionRates::Direction::Kind;
    return kind == Kind::read      ? words("Reading")
           : kind == Kind::written ? words("Writing")
                                   : words("Transfers");
}

/// A region in which something was moved, of one direction.
struct MeasuredRegion {
    RegionRates::Direction::Kind kind;
    std::size_t region;
    double rate;
};

/// The slowest first.
std::vector<MeasuredRegion> measuredRegions(const RegionRates& rates) {
    std::vector<MeasuredRegion> measured;
    for (const RegionRates::Direction& direction : rates.directions)
        for (std::size_t i = 0; i < direction.regions.size(); ++i)
            if (const double rate = direction.regions[i].megabytesPerSecond(); rate > 0)
                measured.push_back({direction.kind, i, rate});
    std::sort(measured.begin(), measured.end(), [](const MeasuredRegion& a, const MeasuredRegion& b) {
        return std::tuple(a.rate, a.kind, a.region) < std::tuple(b.rate, b.kind, b.region);
    });
    return measured;
}

Json rateJson(const RecordedMoved& moved) {
    const double rate = moved.megabytesPerSecond();
    return rate > 0 ? Json(std::round(rate * 100) / 100) : Json();
}

/// points: [[middle of the region, rate or null of each direction...]...]
Json curveData(const RecordedRun& run, const RegionRates& rates) {
    Json points = Json::array();
    const std::size_t regions = rates.directions.front().regions.size();
    for (std::size_t i = 0; i < regions; ++i) {
        Json point = Json::array({rates.firstSector(i) + (rates.lastSector(i) - rates.firstSector(i)) / 2});
        for (const RegionRates::Direction& direction : rates.directions)
            point.push_back(rateJson(direction.regions[i]));
        points.push_back(std::move(point));
    }
    Json names = Json::array();
    for (const RegionRates::Direction& direction : rates.directions)
        names.push_back(directionText(direction.kind));
    return {{"points", std::move(points)},
            {"lastSector", rates.lastSector(regions - 1)},
            {"sectorBytes", run.drive.sectorBytes},
            {"names", std::move(names)},
            {"words",
             {{"position", run.drive.sectorBytes != 0 ? words("Position on the drive, GB") : words("LBA")},
              {"point", words("LBA {lba}: {rate}")}}}};
}

void writeSlowestRegions(HtmlWriter& html, const RegionRates& rates,
                         const std::vector<MeasuredRegion>& measured) {
    Table table(html, words("The slowest regions"),
                {{words("Sectors")}, {words("Operation")}, {words("Mean rate"), true}});
    for (std::size_t i = 0; i < std::min(measured.size(), kSlowestRegions); ++i)
        table.row({rangeFigure(rates.firstSector(measured[i].region), rates.lastSector(measured[i].region)),
                   directionText(measured[i].kind), rateFigure(measured[i].rate)});
}

/// What lies between two powers of two nanoseconds, where buckets begin and end, too.
using Octaves = std::map<int, std::uint64_t>;

int octaveOf(double upToUs) {
    constexpr double kLongest = 9e18;
    const auto nanoseconds =
        static_cast<std::uint64_t>(std::llround(std::clamp(upToUs * 1000, 1.0, kLongest)));
    return static_cast<int>(std::bit_width(nanoseconds - 1));
}

Octaves octavesOf(const RecordedLatency& latency) {
    Octaves octaves;
    for (const RecordedLatency::Bucket& bucket : latency.buckets)
        octaves[octaveOf(bucket.upToUs)] += bucket.count;
    if (!octaves.empty())
        for (int octave = octaves.begin()->first; octave < octaves.rbegin()->first; ++octave)
            octaves.try_emplace(octave, 0);
    return octaves;
}

double boundOf(int octave) {
    return std::ldexp(1e-3, octave);
}

/// The names of the figures that lie in the octave.
std::string marksOf(const RecordedLatency& latency, int octave) {
    std::string marks;
    for (const auto& [name, value] :
         {std::pair{"p50", latency.p50Us}, std::pair{"p99", latency.p99Us},
          std::pair{"p99.9", latency.p999Us}, std::pair{"max", latency.longestUs}})
        if (octaveOf(value) == octave)
            marks += (marks.empty() ? "" : " ") + std::string(name);
    return marks;
}

/// Of ten thousand transfers, one must be seen, too.
int barPercent(std::uint64_t count, std::uint64_t most) {
    if (count == 0)
        return 0;
    const double share = std::log(1 + static_cast<double>(count)) / std::log(1 + static_cast<double>(most));
    return std::max(1, static_cast<int>(std::lround(share * 100)));
}

void writeHistogram(HtmlWriter& html, const RecordedLatency& latency) {
    const Octaves octaves = octavesOf(latency);
    std::uint64_t most = 1;
    for (const auto& [octave, count] : octaves)
        most = std::max(most, count);
    html.markup("<div class=\"scroll\" tabindex=\"0\" role=\"region\" aria-label=\"");
    html.text(operationText(latency.operation));
    html.markup("\"><table class=\"histogram\">\n");
    html.element("caption", words("{operation}: how many took how long",
                                  {{"operation", operationText(latency.operation)}}));
    html.markup("<thead><tr>");
    html.element("th", words("Duration up to"), {{"scope", "col"}, {"class", "number"}});
    html.element("th", words("Count"), {{"scope", "col"}, {"class", "number"}});
    html.element("th", words("Bar, logarithmic"), {{"scope", "col"}});
    html.markup("</tr></thead>\n<tbody>\n");
    for (const auto& [octave, count] : octaves) {
        const auto row = html.open("tr");
        html.element("th", latencyFigure(boundOf(octave)), {{"scope", "row"}, {"class", "number"}});
        html.element("td", countFigure(count), {{"class", "number"}});
        const auto cell = html.open("td", {{"class", "bar"}});
        html.element(
            "span", "",
            {{"class", "bar"}, {"style", zel::format("--share:%i", barPercent(count, most)).utf8()}});
        html.element("span", marksOf(latency, octave), {{"class", "marks"}});
    }
    html.markup("</tbody></table></div>\n");
}

void writeTransferList(HtmlWriter& html, const std::vector<RecordedTransfer>& slowest) {
    std::vector<RecordedTransfer> shown = slowest;
    std::sort(shown.begin(), shown.end(), [](const RecordedTransfer& a, const RecordedTransfer& b) {
        return std::tuple(b.durationUs, a.first) < std::tuple(a.durationUs, b.first);
    });
    shown.resize(std::min(shown.size(), kSlowestTransfers));
    if (shown.empty())
        return;
    Table table(html, words("The slowest transfers"),
                {{words("Sectors")}, {words("Operation")}, {words("Duration"), true}});
    for (const RecordedTransfer& transfer : shown)
        table.row({rangeFigure(transfer.first, transfer.last), operationText(transfer.operation),
                   latencyFigure(transfer.durationUs)});
}

}  // namespace

void writeRates(HtmlWriter& html, const RecordedRun& run) {
    const Section section(html, "rates", words("Rate over the drive"));
    const RegionRates rates = RegionRates::of(run, kReportRegions);
    const std::vector<MeasuredRegion> measured = measuredRegions(rates);
    if (measured.empty()) {
        html.element("p", words("The record does not tell how fast the parts of the drive were."));
        return;
    }
    html.element("p", words("From {slowest} to {fastest}, as means of {count} regions of equal size.",
                            {{"slowest", rateFigure(measured.front().rate)},
                             {"fastest", rateFigure(measured.back().rate)},
                             {"count", countFigure(rates.directions.front().regions.size())}}));
    html.element("p",
                 words("Drag over a part of the curve to enlarge it; a double click shows it all again."),
                 {{"class", "note scripted"}});
    html.element("p", words("Mean rate, MB/s"), {{"class", "axis scripted"}});
    html.element("div", "",
                 {{"id", "curve"},
                  {"class", "scripted"},
                  {"role", "img"},
                  {"aria-label", words("Curve of the rate over the drive")}});
    html.element("p", "", {{"id", "curve-told"}, {"class", "told scripted"}});
    html.markup("<noscript>");
    html.element("p", words("The curve needs a browser that runs scripts."));
    html.markup("</noscript>");
    html.data("curve-data", curveData(run, rates));
    writeSlowestRegions(html, rates, measured);
}

void writeLatencies(HtmlWriter& html, const RecordedRun& run) {
    const Section section(html, "latency", words("Latency"));
    if (run.latencies.empty()) {
        html.element("p", words("The record has no durations of single transfers."));
        return;
    }
    {
        Table table(html, words("How long the transfers took"),
                    {{words("Operation")},
                     {words("Count"), true},
                     {"p50", true},
                     {"p99", true},
                     {"p99.9", true},
                     {words("longest"), true}});
        for (const RecordedLatency& latency : run.latencies)
            table.row({operationText(latency.operation), countFigure(latency.count),
                       latencyFigure(latency.p50Us), latencyFigure(latency.p99Us),
                       latencyFigure(latency.p999Us), latencyFigure(latency.longestUs)});
    }
    html.element("p", words("p99 is the duration that 99 of 100 transfers did not exceed."),
                 {{"class", "note"}});
    for (const RecordedLatency& latency : run.latencies)
        if (!latency.buckets.empty())
            writeHistogram(html, latency);
}

void writeTransfers(HtmlWriter& html, const RecordedRun& run) {
    const Section section(html, "transfers", words("Transfers"));
    if (run.attempts.empty()) {
        html.element("p", words("The record does not tell how many attempts the transfers needed."));
    } else {
        Table table(html, words("What became of the transfers"),
                    {{words("Operation")},
                     {words("Good at the first try"), true},
                     {words("Good after further tries"), true},
                     {words("Failed"), true}});
        for (const RecordedAttempts& each : run.attempts)
            table.row({operationText(each.operation), countFigure(each.firstTry), countFigure(each.recovered),
                       countFigure(each.failed)});
    }
    if (!run.slowness)
        return;
    if (run.slowness->over150ms == 0)
        html.element("p", words("No transfer took over 150 ms."));
    else
        html.element("p", zel::counted(run.slowness->over150ms,
                                       "{count} transfer took over 150 ms, {very} of them over 500 ms.",
                                       "{count} transfers took over 150 ms, {very} of them over 500 ms.",
                                       {{"count", countFigure(run.slowness->over150ms)},
                                        {"very", countFigure(run.slowness->over500ms)}}));
    writeTransferList(html, run.slowness->slowest);
}

}  // namespace drivetest
