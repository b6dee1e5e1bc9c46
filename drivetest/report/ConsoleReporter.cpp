#include "drivetest/report/ConsoleReporter.h"

#include <algorithm>

#include "drivetest/ExitStatus.h"
#include "drivetest/report/BadList.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Format.h"

namespace drivetest {

using quix5::EventType;
using quix5::TestResult;

namespace {

/// A drive with a million bad sectors must not bury everything else on the screen.
constexpr std::uint64_t kShownPerKey = 20;

/// Further lines under a label.
constexpr const char* kIndent = "            ";

/// Whether a drive that passes was so slow in places that nobody should take it for healthy: far slower than
/// it is otherwise.
bool hasOutliers(const DriveStatistics& statistics) {
    constexpr int kFarSlower = 4;
    return std::any_of(kOperations.begin(), kOperations.end(), [&](libDrive2::DriveOperation operation) {
        const LatencyHistogram& histogram = statistics.of(operation).latency;
        return histogram.longest() > SlowTransfers::kVerySlow &&
               histogram.longest() > kFarSlower * histogram.percentile(0.5);
    });
}

const char* meaningOfPass(const RunSummary& summary) {
    if (summary.counts.warnings > 0)
        return "no error was found; see the warnings";
    if (summary.statistics != nullptr && hasOutliers(*summary.statistics))
        return "no error was found, but some transfers were far slower than the others";
    return rowOf(summary.result).meaning;
}

/// The result in words.
const char* meaningOf(const RunSummary& summary) {
    if (summary.isDataMissing)
        return "not all data was put back";
    return summary.result == TestResult::PASS ? meaningOfPass(summary) : rowOf(summary.result).meaning;
}

void printTotals(Console& console, const DriveStatistics& statistics) {
    const Coverage& coverage = statistics.coverage();
    if (coverage.requested > 0)
        console.line(zel::format("  %-9s %u requested = %u tested + %u failed + %u skipped",
                                 nameOf(coverage.unit), coverage.requested, coverage.tested, coverage.failed,
                                 coverage.skipped)
                         .utf8());
    for (const auto& [direction, label] : {std::pair{libDrive2::DriveOperation::read, "read"},
                                           std::pair{libDrive2::DriveOperation::write, "written"}}) {
        const TransferTotals totals = statistics.totals(direction);
        if (totals.bytes == 0)
            continue;
        std::string text = zel::format("  %-8s  %s", label, sizeText(totals.bytes)).utf8() + " in " +
                           durationText(totals.elapsed);
        if (const auto rate = totals.megabytesPerSecond())
            text += zel::format(", %.1f MB/s", *rate).utf8();
        console.line(text);
    }
}

void printBadSectors(Console& console, const BadSectors& bad, const std::string& allBadSectors) {
    if (bad.count() == 0)
        return;
    std::string label = "  bad       ";
    for (const std::string& line : badRangeLines(bad)) {
        console.line(label + line);
        label = kIndent;
    }
    if (bad.ranges().size() > kMostShownRanges)
        console.line(kIndent + (allBadSectors.empty() ? "--bad-list FILE writes them all"
                                                      : "all are in " + allBadSectors));
}

void printSlowTransfers(Console& console, const SlowTransfers& slow) {
    if (slow.slow() == 0)
        return;
    console.line("  slow      " + countText(slow.slow(), "transfer") + " took over 150 ms, " +
                 std::to_string(slow.verySlow()) + " of them over 500 ms; the slowest:");
    for (const SlowTransfers::Transfer& transfer : slow.slowest(SlowTransfers::kFew))
        if (transfer.duration > SlowTransfers::kSlow)
            console.line(kIndent + durationText(transfer.duration) + "  " + nameOf(transfer.operation) + " " +
                         sectorsText(transfer.lba, transfer.count));
}

}  // namespace

void ConsoleReporter::begin(const RunStart& start) {
    m_title = start.test.name().utf8() + " on " + start.device.osLocator().utf8();
}

void ConsoleReporter::show(const quix5::Event& event, const char* type) {
    const std::uint64_t shown = ++m_shown[event.key()];
    // A range that took no time to measure.
    if (shown <= kShownPerKey)
        m_console.line(type + event.localizedMessage().replace("inf MB/s", "too short to measure").utf8());
    if (shown == kShownPerKey)
        m_console.line("        (more of this kind are counted and kept in the record only)");
}

/// The test's words for a drive that takes no more transfers are the same for all causes.
void ConsoleReporter::showLoss(const std::string& lossOfDrive) {
    if (lossOfDrive.empty() || m_isLossShown)
        return;
    m_isLossShown = true;
    m_console.line("         " + lossOfDrive);
}

void ConsoleReporter::event(const RunEvent& event) {
    show(event.event, event.type == EventType::ERR       ? "error:   "
                      : event.type == EventType::WARNING ? "warning: "
                                                         : "info:    ");
    showLoss(event.lossOfDrive);
}

void ConsoleReporter::runError(const RunError& error) {
    if (error.event != nullptr)
        show(*error.event, "error:   ");
    else
        m_console.line("         " + error.message);
    showLoss(error.lossOfDrive);
}

void ConsoleReporter::end(const RunSummary& summary) {
    // Bad parameters were named in one sentence; there is nothing to sum up.
    if (summary.result == TestResult::BADPARAMS)
        return;
    m_console.line(m_title + ": " + summary.result.name() + " - " + meaningOf(summary));
    if (summary.statistics != nullptr) {
        printTotals(m_console, *summary.statistics);
        printBadSectors(m_console, summary.statistics->badSectors(), summary.allBadSectors);
        printSlowTransfers(m_console, summary.statistics->slowTransfers());
    }
    m_console.line("  reported  " + countText(summary.counts.errors, "error") + ", " +
                   countText(summary.counts.warnings, "warning"));
}

}  // namespace drivetest
