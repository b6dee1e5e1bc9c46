#include "drivetest/shelf/kept/ResumeList.h"

#include <algorithm>
#include <array>

#include "drivetest/shelf/ShelfDrive.h"
#include "drivetest/terminal/Columns.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

constexpr std::size_t kGap = 2;

/// Drive, test, state.
using Row = std::array<std::string, 3>;

std::string textOf(const RunState& state) {
    switch (state.kind) {
        case RunState::Kind::done:
            return words("done: {result}", {{"result", resultText(state.outcome)}});
        case RunState::Kind::resumed:
            return words("goes on behind {n} of the drive's {sectors} sectors",
                         {{"n", state.sectorsDone}, {"sectors", state.sectors}});
        case RunState::Kind::anew:
            return words("begins anew");
        case RunState::Kind::underWay:
            return words("still under way");
        case RunState::Kind::fresh:
            break;
    }
    return words("not started");
}

}  // namespace

std::vector<std::string> listOf(const ShelfWork& work, const std::vector<std::vector<RunState>>& states) {
    std::vector<Row> rows{{words("DRIVE"), words("TEST"), words("STATE")}};
    for (std::size_t i = 0; i < work.drives.size(); ++i) {
        const DriveWork& drive = work.drives[i];
        for (std::size_t k = 0; k < states[i].size(); ++k) {
            const bool isRefused = !drive.refusal.empty() && states[i][k].kind != RunState::Kind::done;
            rows.push_back({k == 0 ? printable(drive.name) : "", printable(labelOf(drive.runs[k])),
                            isRefused ? words("refused, see below") : textOf(states[i][k])});
        }
    }
    std::array<std::size_t, 2> widths{};
    for (const Row& row : rows)
        for (std::size_t i = 0; i < widths.size(); ++i)
            widths.at(i) = std::max(widths.at(i), columnsOf(row.at(i)) + kGap);
    std::vector<std::string> lines;
    lines.reserve(rows.size());
    for (const Row& row : rows)
        lines.push_back(padded(row[0], widths[0]) + padded(row[1], widths[1]) + row[2]);
    for (const DriveWork& drive : work.drives)
        if (!drive.refusal.empty())
            lines.push_back(words("refused: {reason}", {{"reason", printable(drive.refusal)}}));
    return lines;
}

}  // namespace drivetest
