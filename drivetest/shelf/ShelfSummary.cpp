#include "drivetest/shelf/ShelfSummary.h"

#include <algorithm>
#include <array>
#include <limits>
#include <tuple>
#include <utility>

#include "drivetest/findings/Figures.h"
#include "drivetest/shelf/ShelfTable.h"
#include "drivetest/terminal/Columns.h"
#include "drivetest/terminal/Labels.h"
#include "drivetest/terminal/Terminal.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

constexpr std::size_t kGap = 2;
constexpr std::size_t kIndent = 2;

enum Column : std::size_t { kDrive, kTest, kResult, kBadSectors, kRate, kRecord, kColumns };
using Row = std::array<std::string, kColumns>;

Row rowOf(const ShelfDrive& drive, const RunOutcome& outcome) {
    const std::string record =
        outcome.hasRecord ? zel::textOf(zel::pathOf(outcome.files.record).filename()) : std::string("-");
    return {printable(drive.work().name),
            printable(outcome.test.empty() ? "-" : outcome.test),
            resultText(outcome),
            outcome.hasFigures() ? countFigure(outcome.badSectors) : "-",
            outcome.hasFigures() ? ratesText(outcome) : "-",
            printable(record)};
}

using Widths = std::array<std::size_t, std::tuple_size_v<Row>>;

/// Without the columns whose width is 0; the last one is not padded.
StatusRow lineOf(const Row& row, const Widths& widths, Emphasis result) {
    StatusRow line{{std::string(kIndent, ' ')}};
    for (std::size_t i = 0; i < row.size(); ++i)
        if (widths.at(i) > 0) {
            line.push_back({row.at(i), i == kResult ? result : Emphasis::none});
            line.push_back({padded("", widths.at(i) + kGap - columnsOf(row.at(i)))});
        }
    line.pop_back();
    return line;
}

/// On a terminal, what there is no room for is left out: records lie in the folder, by the drives' names.
Widths widthsOf(const std::vector<Row>& rows) {
    Widths widths{};
    for (const Row& row : rows)
        for (std::size_t i = 0; i < row.size(); ++i)
            widths.at(i) = std::max(widths.at(i), columnsOf(row.at(i)));
    const std::size_t columns =
        isTerminal(stdout) ? terminalSize(stdout).columns : std::numeric_limits<std::size_t>::max();
    const auto taken = [&widths] {
        std::size_t sum = kIndent;
        for (const std::size_t width : widths)
            sum += width > 0 ? width + kGap : 0;
        return sum - kGap;
    };
    for (const Column column : {kRecord, kTest, kRate})
        if (taken() > columns)
            widths.at(column) = 0;
    return widths;
}

}  // namespace

const RunOutcome& worstRun(const ShelfDrive& drive) {
    const auto& outcomes = drive.outcomes();
    const int worst = drive.worstStatus();
    return *std::ranges::find_if(
        outcomes, [worst](const RunOutcome& outcome) { return worstStatus({outcome.status}) == worst; });
}

std::string ratesText(const RunOutcome& outcome) {
    const std::string read = outcome.readRate ? rateFigure(*outcome.readRate) : "";
    const std::string written = outcome.writeRate ? rateFigure(*outcome.writeRate) : "";
    if (read.empty() || written.empty())
        return read.empty() && written.empty() ? "-" : read + written;
    return words("{read} read, {written} written", {{"read", read}, {"written", written}});
}

std::string resultCounts(const std::vector<ShelfDrive>& drives) {
    std::vector<std::pair<std::string, std::size_t>> counts;
    std::vector<const ShelfDrive*> sorted;
    for (const ShelfDrive& drive : drives)
        if (!drive.outcomes().empty())
            sorted.push_back(&drive);
    std::ranges::stable_sort(sorted, [](const ShelfDrive* a, const ShelfDrive* b) {
        const int worse = a->worstStatus();
        return worse != b->worstStatus() && worstStatus({worse, b->worstStatus()}) == worse;
    });
    for (const ShelfDrive* const drive : sorted) {
        const std::string result = resultText(worstRun(*drive));
        const auto known = std::ranges::find(counts, result, &std::pair<std::string, std::size_t>::first);
        if (known != counts.end())
            ++known->second;
        else
            counts.emplace_back(result, 1);
    }
    std::string text;
    for (const auto& [result, count] : counts)
        text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + result;
    return text;
}

int summarize(const std::vector<ShelfDrive>& drives, const ShelfPlaces& places, Console& console) {
    std::vector<Row> rows{{words("drive"), words("test"), words("result"), words("bad sectors"),
                           words("rate"), words("record")}};
    std::vector<std::string> reasons{""};
    std::vector<Emphasis> results{Emphasis::none};
    std::vector<int> statuses;
    for (const ShelfDrive& drive : drives) {
        statuses.push_back(drive.worstStatus());
        for (const RunOutcome& outcome : drive.outcomes()) {
            rows.push_back(rowOf(drive, outcome));
            reasons.push_back(outcome.words);
            results.push_back(emphasisOf(outcome));
        }
    }
    const Widths widths = widthsOf(rows);
    console.line(zel::counted(drives.size(), "{n} drive: {results}", "{n} drives: {results}",
                              {{"results", resultCounts(drives)}}));
    for (std::size_t i = 0; i < rows.size(); ++i) {
        console.line(lineOf(rows[i], widths, results[i]));
        if (!reasons[i].empty())
            console.line(std::string(2 * kIndent, ' ') + reasons[i]);
    }
    console.line(summaryLabel(words("folder")) + places.folder);
    if (!places.overview.empty())
        console.line(summaryLabel(words("report")) + places.overview);
    return worstStatus(statuses);
}

}  // namespace drivetest
