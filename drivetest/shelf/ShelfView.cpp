#include "drivetest/shelf/ShelfView.h"

#include <algorithm>

#include "drivetest/run/Signals.h"
#include "drivetest/shelf/ShelfSummary.h"
#include "drivetest/shelf/ShelfTable.h"
#include "drivetest/terminal/Labels.h"
#include "drivetest/terminal/Terminal.h"
#include "drivetest/terminal/Texts.h"
#include "quix5/StopRequest.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using namespace std::chrono_literals;
using zel::words;

/// Figures that change more often cannot be read.
constexpr auto kInterval = 400ms;
constexpr auto kOften = 1min;
constexpr auto kOftenUntil = 10min;
constexpr auto kSeldom = 10min;

}  // namespace

ShelfView::ShelfView(Console& console, const std::vector<ShelfDrive>& drives, bool quiet)
    : m_console(console), m_drives(drives), m_quiet(quiet), m_nextLine(kOften) {}

void ShelfView::show() {
    const auto now = Clock::now();
    const auto elapsed = now - m_began;
    const bool isAskedFor = takeProgressRequest();
    if (!m_quiet && m_console.isLive() && now >= m_nextDrawing) {
        m_nextDrawing = now + kInterval;
        // One row stays free: the cursor's, where the last line has ended.
        const std::size_t rows = std::max(terminalSize(stdout).rows, 2U) - 1;
        m_console.status([&](std::size_t columns) { return shelfRows(m_drives, elapsed, columns, rows); });
    }
    if (isAskedFor || (!m_quiet && !m_console.isLive() && elapsed >= m_nextLine))
        tellLines(elapsed);
}

void ShelfView::tellLines(Clock::duration elapsed) {
    for (const ShelfDrive& drive : m_drives)
        if (drive.isRunning())
            m_console.line(shelfLine(drive));
    m_nextLine = elapsed + (elapsed < kOftenUntil ? Clock::duration(kOften) : Clock::duration(kSeldom));
}

void ShelfView::tellEnd(const ShelfDrive& drive) {
    if (drive.outcomes().empty())
        return;
    const RunOutcome& outcome = drive.lastEnded();
    std::string text =
        words("{drive}: {result}", {{"drive", drive.work().name}, {"result", resultText(outcome)}});
    if (outcome.hasFigures())
        text += ", " + zel::counted(outcome.badSectors, "{n} bad sector", "{n} bad sectors");
    if (outcome.readRate || outcome.writeRate)
        text += ", " + ratesText(outcome);
    if (!outcome.words.empty())
        text += " - " + outcome.words;
    m_console.line(text);
}

}  // namespace drivetest
