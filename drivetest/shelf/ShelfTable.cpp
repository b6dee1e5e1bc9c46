#include "drivetest/shelf/ShelfTable.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

#include "drivetest/terminal/Columns.h"
#include "drivetest/terminal/Language.h"
#include "drivetest/terminal/Texts.h"
#include "quix5/StopRequest.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::counted;
using zel::words;

constexpr std::size_t kGap = 2;
constexpr std::size_t kShortestName = 10;
constexpr std::size_t kLongestName = 40;

/// From left to right.
enum Cell : std::size_t { kName, kTest, kState, kRate, kLeft, kDegrees, kErrors, kCells };
/// Which go first where there is no room.
constexpr std::array kLeastImportant{kTest, kDegrees, kRate, kLeft};
/// So that columns stay where they are while figures change.
constexpr std::array<std::size_t, kCells> kLeastWidth{kShortestName, 0, 6, 11, 8, 5, 3};

struct TableRow {
    std::array<std::string, kCells> cells;
    Emphasis state = Emphasis::none;
    Emphasis errors = Emphasis::none;
};

/// Whole steps below 100; finer where a large drive begins.
std::string percentText(double share) {
    const double percent = share * 100;
    return words("{percent} %", {{"percent", percent > 0 && percent < 10
                                                 ? decimalText(std::floor(percent * 10) / 10, 1)
                                                 : std::to_string(static_cast<int>(percent + 1e-9))}});
}

std::string timeLeftText(double seconds) {
    constexpr double kMost = 1e9;  // what is longer nobody waits for
    return forecastText(std::chrono::seconds(static_cast<long long>(std::min(seconds, kMost))));
}

void fillFromRun(const ShelfDrive& drive, TableRow& row) {
    const DriveRun& run = *drive.run();
    const ChildReport& report = run.report();
    row.cells[kTest] = printable(labelOf(run.options()));
    row.cells[kState] = run.isStopping()                    ? words("stopping")
                        : report.stage == RunStage::resting ? words("cooling")
                        : report.stage == RunStage::testing ? percentText(drive.share())
                        : report.stage == RunStage::ending  ? words("ending")
                                                            : words("starting");
    row.state = run.isStopping() || report.stage == RunStage::resting ? Emphasis::warning : Emphasis::strong;
    if (report.rate && report.stage == RunStage::testing)
        row.cells[kRate] = words("{rate} MB/s", {{"rate", decimalText(*report.rate, 1)}});
    if (report.secondsLeft && report.stage == RunStage::testing)
        row.cells[kLeft] = timeLeftText(*report.secondsLeft);
    if (report.temperatureC)
        row.cells[kDegrees] = words("{degrees} °C", {{"degrees", *report.temperatureC}});
    row.cells[kErrors] = std::to_string(report.errors);
    row.errors = report.errors > 0 ? Emphasis::bad : Emphasis::none;
}

TableRow rowOf(const ShelfDrive& drive) {
    TableRow row;
    row.cells[kName] = printable(drive.work().name);
    if (drive.isRunning()) {
        fillFromRun(drive, row);
    } else if (drive.isWaiting()) {
        row.cells[kState] = words("waiting");
        row.state = Emphasis::faint;
    } else if (!drive.outcomes().empty()) {
        const RunOutcome& last = drive.lastEnded();
        row.cells[kTest] = printable(last.test);
        row.cells[kState] = resultText(last);
        row.state = emphasisOf(last);
    }
    return row;
}

TableRow headings() {
    return {
        {words("drive"), words("test"), words("done"), words("rate"), words("left"), "°C", words("errors")},
        Emphasis::faint,
        Emphasis::faint};
}

using Widths = std::array<std::size_t, kCells>;

/// 0 for a column that is left out.
Widths widthsFor(const std::vector<TableRow>& table, std::size_t columns) {
    Widths widths = kLeastWidth;
    for (const TableRow& row : table)
        for (std::size_t i = 0; i < kCells; ++i)
            widths.at(i) = std::max(widths.at(i), columnsOf(row.cells.at(i)));
    widths[kName] = std::min(widths[kName], kLongestName);
    const auto taken = [&widths] {
        std::size_t sum = 0;
        for (const std::size_t width : widths)
            sum += width == 0 ? 0 : width + kGap;
        return sum - kGap;
    };
    const auto shortenName = [&] {
        const std::size_t excess = taken() - std::min(taken(), columns);
        widths[kName] = std::max(widths[kName] - std::min(widths[kName], excess), kShortestName);
    };
    const std::size_t wanted = widths[kName];
    for (const Cell cell : kLeastImportant) {
        widths[kName] = std::min(wanted, kShortestName + kShortestName / 2);
        if (taken() <= columns)
            break;
        widths.at(cell) = 0;
    }
    widths[kName] = wanted;
    shortenName();
    return widths;
}

/// What tells drives apart, such as a serial number, comes last in their names.
std::string shortenedName(const std::string& name, std::size_t columns) {
    if (columnsOf(name) <= columns)
        return name;
    std::string_view rest = name;
    const auto isInside = [&rest] { return (static_cast<unsigned char>(rest.front()) & 0xC0U) == 0x80U; };
    while (!rest.empty() && (columnsOf(rest) >= columns || isInside()))
        rest.remove_prefix(1);
    return shortened("…" + std::string(rest), columns);
}

bool isNumber(std::size_t cell) {
    return cell != kName && cell != kTest && cell != kState;
}

StatusRow drawn(const TableRow& row, const Widths& widths, std::size_t columns, bool isHeading) {
    StatusRow pieces;
    std::size_t used = 0;
    for (std::size_t i = 0; i < kCells; ++i) {
        if (widths.at(i) == 0)
            continue;
        const std::size_t gap = pieces.empty() ? 0 : kGap;
        const std::size_t room = columns - std::min(columns, used + gap);
        const std::string text = i == kName ? shortenedName(row.cells[kName], std::min(widths[kName], room))
                                            : shortened(row.cells.at(i), std::min(widths.at(i), room));
        const std::size_t blanks = std::min(widths.at(i), room) - columnsOf(text);
        const std::string filler(blanks, ' ');
        const Emphasis emphasis = isHeading      ? Emphasis::faint
                                  : i == kState  ? row.state
                                  : i == kErrors ? row.errors
                                                 : Emphasis::none;
        pieces.push_back(
            {std::string(std::min(gap, columns - used), ' ') + (isNumber(i) ? filler : ""), Emphasis::none});
        pieces.push_back({text, emphasis});
        if (!isNumber(i))
            pieces.push_back({filler, Emphasis::none});
        used += gap + widths.at(i);
        if (used >= columns)
            break;
    }
    return pieces;
}

/// What matters most now goes first.
int urgencyOf(const ShelfDrive& drive) {
    return drive.isRunning() ? 0 : drive.isWaiting() ? 1 : 2;
}

StatusRow totalRow(const std::vector<ShelfDrive>& drives, std::chrono::nanoseconds elapsed,
                   std::size_t columns) {
    std::array<std::size_t, 3> counts{};
    double rate = 0;
    double share = 0;
    for (const ShelfDrive& drive : drives) {
        ++counts.at(static_cast<std::size_t>(urgencyOf(drive)));
        share += drive.share() / static_cast<double>(drives.size());
        if (drive.isRunning() && drive.run()->report().stage == RunStage::testing)
            rate += drive.run()->report().rate.value_or(0);
    }
    StatusRow pieces;
    std::size_t used = 0;
    const auto add = [&](const std::string& text, Emphasis emphasis) {
        const std::string gap(used == 0 ? 0 : kGap, ' ');
        if (used + gap.size() + columnsOf(text) > columns)
            return;
        used += gap.size() + columnsOf(text);
        pieces.push_back({gap, Emphasis::none});
        pieces.push_back({text, emphasis});
    };
    if (quix5::StopRequest::made())
        add(words("stopping"), Emphasis::warning);
    add(percentText(share), Emphasis::strong);
    add(words("{n} under test", {{"n", counts[0]}}), Emphasis::none);
    if (counts[1] > 0)
        add(words("{n} waiting", {{"n", counts[1]}}), Emphasis::none);
    add(words("{n} done", {{"n", counts[2]}}), Emphasis::none);
    add(durationText(elapsed), Emphasis::none);
    add(words("{rate} MB/s", {{"rate", decimalText(rate, 1)}}), Emphasis::none);
    return pieces;
}

}  // namespace

StatusRows shelfRows(const std::vector<ShelfDrive>& drives, std::chrono::nanoseconds elapsed,
                     std::size_t columns, std::size_t rows) {
    std::vector<const ShelfDrive*> order;
    order.reserve(drives.size());
    for (const ShelfDrive& drive : drives)
        order.push_back(&drive);
    constexpr std::size_t kAbove = 2;
    const std::size_t room = rows - std::min(rows, kAbove);
    const bool fits = order.size() <= room;
    if (!fits)
        std::ranges::stable_sort(order, {}, [](const ShelfDrive* drive) { return urgencyOf(*drive); });
    const std::size_t shown = fits ? order.size() : room - std::min<std::size_t>(room, 1);
    StatusRows table{totalRow(drives, elapsed, columns)};
    if (shown == 0)
        return table;
    std::vector<TableRow> cells{headings()};
    for (std::size_t i = 0; i < shown; ++i)
        cells.push_back(rowOf(*order[i]));
    const Widths widths = widthsFor(cells, columns);
    for (const TableRow& row : cells)
        table.push_back(drawn(row, widths, columns, &row == &cells.front()));
    if (!fits)
        table.push_back(
            {{shortened(counted(order.size() - shown, "and {n} drive more", "and {n} drives more"), columns),
              Emphasis::faint}});
    return table;
}

Emphasis emphasisOf(const RunOutcome& outcome) {
    if (isFailure(outcome))
        return Emphasis::bad;
    return outcome.status != 0 ? Emphasis::warning : Emphasis::good;
}

std::string shelfLine(const ShelfDrive& drive) {
    std::string line;
    const TableRow row = rowOf(drive);
    for (std::size_t i = 0; i < kErrors; ++i)
        if (!row.cells.at(i).empty())
            line += (line.empty() ? "" : "  ") + row.cells.at(i);
    return line + "  " +
           counted(drive.isRunning() ? drive.run()->report().errors : 0, "{n} error", "{n} errors");
}

}  // namespace drivetest
