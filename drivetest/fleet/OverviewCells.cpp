#include "drivetest/fleet/OverviewCells.h"

#include <utility>

#include "drivetest/findings/Figures.h"
#include "drivetest/html/FileLink.h"
#include "drivetest/terminal/Language.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

using zel::words;
using Cell = FleetTable::Cell;

namespace {

Cell numberCell(double value, std::string text) {
    return {std::move(text), value};
}

/// As runs of several drives leave it; empty for none.
std::string reportBeside(const std::string& record) {
    const std::string report = zel::textOf(zel::pathOf(record).replace_extension(".html"));
    return zel::isRegularFile(report) ? report : std::string();
}

}  // namespace

Cell countCell(std::uint64_t count) {
    return numberCell(static_cast<double>(count), countFigure(count));
}

Cell rateCell(const std::optional<double>& megabytesPerSecond) {
    return megabytesPerSecond ? numberCell(*megabytesPerSecond, rateFigure(*megabytesPerSecond)) : Cell{"–"};
}

Cell hoursCell(const std::optional<std::int64_t>& hours) {
    if (!hours || *hours < 0)
        return {"–"};
    return numberCell(static_cast<double>(*hours),
                      words("{n} h", {{"n", countFigure(static_cast<std::uint64_t>(*hours))}}));
}

Cell shareCell(double share) {
    return numberCell(share, words("{n} %", {{"n", decimalText(100 * share, 0)}}));
}

Cell textCell(const std::string& text) {
    return {text.empty() ? "–" : text};
}

Cell filesCell(const std::string& record, const std::string& folder) {
    Cell cell;
    for (const auto& [text, file] :
         {std::pair(words("record"), record), {words("report"), reportBeside(record)}})
        if (const std::string target = file.empty() ? "" : linkTo(file, folder); !target.empty())
            cell.links.push_back({text, target});
    return cell;
}

void writeRest(HtmlWriter& html, std::size_t all, std::size_t most) {
    if (all > most)
        html.element("p",
                     zel::counted(all - most, "{n} more row is left out.", "{n} more rows are left out.",
                                  {{"n", countFigure(all - most)}}),
                     {{"class", "note"}});
}

}  // namespace drivetest
