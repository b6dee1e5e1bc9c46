#include "drivetest/report/ConsoleReporter.h"

#include <algorithm>

#include "drivetest/ExitStatus.h"
#include "drivetest/grade/GradeText.h"
#include "drivetest/health/HealthChanges.h"
#include "drivetest/health/HealthWords.h"
#include "drivetest/report/BadList.h"
#include "drivetest/terminal/Labels.h"
#include "drivetest/terminal/Language.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Words.h"

namespace drivetest {

using quix5::EventType;
using quix5::TestResult;
using zel::counted;
using zel::marked;
using zel::words;

namespace {

/// A drive with a million bad sectors must not bury everything else on the screen.
constexpr std::uint64_t kShownPerKey = 20;

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
        return marked("no error was found; see the warnings");
    if (summary.statistics != nullptr && hasOutliers(*summary.statistics))
        return marked("no error was found, but some transfers were far slower than the others");
    return rowOf(summary.result).meaning;
}

/// The result in words; a text to translate.
const char* meaningOf(const RunSummary& summary) {
    if (summary.isDataMissing)
        return marked("not all data was put back");
    return summary.result == TestResult::PASS ? meaningOfPass(summary) : rowOf(summary.result).meaning;
}

void printTotals(Console& console, const DriveStatistics& statistics) {
    const Coverage& coverage = statistics.coverage();
    if (coverage.requested > 0)
        console.line(summaryLabel(words(nameOf(coverage.unit))) +
                     words("{requested} requested = {tested} tested + {failed} failed + {skipped} skipped",
                           {{"requested", coverage.requested},
                            {"tested", coverage.tested},
                            {"failed", coverage.failed},
                            {"skipped", coverage.skipped}}));
    for (const auto& [direction, name] : {std::pair{libDrive2::DriveOperation::read, marked("read")},
                                          std::pair{libDrive2::DriveOperation::write, marked("written")}}) {
        const TransferTotals totals = statistics.totals(direction);
        if (totals.bytes == 0)
            continue;
        std::string text = words("{size} in {time}",
                                 {{"size", sizeText(totals.bytes)}, {"time", durationText(totals.elapsed)}});
        if (const auto rate = totals.megabytesPerSecond())
            text = words("{first}, {second}", {{"first", text}, {"second", decimalText(*rate, 1) + " MB/s"}});
        console.line(summaryLabel(words(name)) + text);
    }
}

void printBadSectors(Console& console, const BadSectors& bad, const std::string& allBadSectors) {
    if (bad.count() == 0)
        return;
    std::string beginning = summaryLabel(words("bad"));
    for (const std::string& line : badRangeLines(bad)) {
        console.line(beginning + line);
        beginning = summaryIndent();
    }
    if (bad.ranges().size() > kMostShownRanges)
        console.line(summaryIndent() + (allBadSectors.empty()
                                            ? words("--bad-list FILE writes them all")
                                            : words("all are in {file}", {{"file", allBadSectors}})));
}

const char* sentenceOn(libDrive2::DriveOperation operation) {
    switch (operation) {
        case libDrive2::DriveOperation::read:
            return marked("read {sectors}");
        case libDrive2::DriveOperation::write:
            return marked("write {sectors}");
        case libDrive2::DriveOperation::seek:
            return marked("seek {sectors}");
        case libDrive2::DriveOperation::flush:
            return marked("flush {sectors}");
        case libDrive2::DriveOperation::other:
            break;
    }
    return marked("other {sectors}");
}

void printSlowTransfers(Console& console, const SlowTransfers& slow) {
    if (slow.slow() == 0)
        return;
    console.line(summaryLabel(words("slow")) +
                 counted(slow.slow(),
                         "{n} transfer took over 150 ms, {very} of them over 500 ms; the slowest:",
                         "{n} transfers took over 150 ms, {very} of them over 500 ms; the slowest:",
                         {{"very", slow.verySlow()}}));
    for (const SlowTransfers::Transfer& transfer : slow.slowest(SlowTransfers::kFew))
        if (transfer.duration > SlowTransfers::kSlow)
            console.line(summaryIndent() + durationText(transfer.duration) + "  " +
                         words(sentenceOn(transfer.operation),
                               {{"sectors", sectorsText(transfer.lba, transfer.count)}}));
}

/// Beside the verdict: what the drive says of itself, what changed, and why to worry.
void printHealth(Console& console, const std::optional<HealthReading>& before,
                 const std::optional<HealthReading>& after) {
    std::string beginning = summaryLabel(words("health"));
    for (const std::string& line : healthSummary(before, after)) {
        console.line(beginning + line);
        beginning = summaryIndent();
    }
}

/// So many reasons as fit beside the rest; the record has them all.
void printGrade(Console& console, const RecordedGrade& grade) {
    constexpr std::size_t kMostReasons = 8;
    console.line(summaryLabel(words("grade")) + gradeLine(grade));
    const std::vector<std::string> reasons = gradeReasons(grade);
    for (std::size_t i = 0; i < std::min(reasons.size(), kMostReasons); ++i)
        console.line(summaryIndent() + reasons[i]);
    if (reasons.size() > kMostReasons)
        console.line(summaryIndent() +
                     counted(reasons.size() - kMostReasons, "and {n} more reason", "and {n} more reasons"));
}

}  // namespace

void ConsoleReporter::health(HealthTime when, const HealthReading& reading) {
    (when == HealthTime::beforeTest ? m_healthBefore : m_healthAfter) = reading;
}

void ConsoleReporter::begin(const RunStart& start) {
    m_title =
        words("{test} on {device}", {{"test", start.test.name()}, {"device", start.device.osLocator()}});
}

void ConsoleReporter::show(const quix5::Event& event, const std::string& type) {
    const std::uint64_t shown = ++m_shown[event.key()];
    // A range that took no time to measure.
    if (shown <= kShownPerKey)
        m_console.line(eventLabel(type) +
                       event.localizedMessage().replace("inf MB/s", words("too short to measure")).utf8());
    if (shown == kShownPerKey)
        m_console.line(eventIndent() + words("(more of this kind are counted and kept in the record only)"));
}

/// The test's words for a drive that takes no more transfers are the same for all causes.
void ConsoleReporter::showLoss(const std::string& lossOfDrive) {
    if (lossOfDrive.empty() || m_isLossShown)
        return;
    m_isLossShown = true;
    m_console.line(eventIndent() + lossOfDrive);
}

void ConsoleReporter::event(const RunEvent& event) {
    show(event.event, event.type == EventType::ERR       ? words("error:")
                      : event.type == EventType::WARNING ? words("warning:")
                                                         : words("info:"));
    showLoss(event.lossOfDrive);
}

void ConsoleReporter::runError(const RunError& error) {
    if (error.event != nullptr)
        show(*error.event, words("error:"));
    else
        m_console.line(eventIndent() + (error.shown.empty() ? error.message : error.shown));
    showLoss(error.lossOfDrive);
}

void ConsoleReporter::end(const RunSummary& summary) {
    // Bad parameters were named in one sentence; there is nothing to sum up.
    if (summary.result == TestResult::BADPARAMS)
        return;
    m_console.line(
        words("{run}: {result} - {meaning}",
              {{"run", m_title}, {"result", summary.result.name()}, {"meaning", words(meaningOf(summary))}}));
    if (summary.statistics != nullptr) {
        printTotals(m_console, *summary.statistics);
        printBadSectors(m_console, summary.statistics->badSectors(), summary.allBadSectors);
        printSlowTransfers(m_console, summary.statistics->slowTransfers());
    }
    printHealth(m_console, m_healthBefore, m_healthAfter);
    if (summary.heat && summary.heat->rests > 0)
        m_console.line(summaryLabel(words("rested")) + restsText(*summary.heat));
    if (summary.grade)
        printGrade(m_console, *summary.grade);
    m_console.line(summaryLabel(words("reported")) +
                   words("{first}, {second}",
                         {{"first", counted(summary.counts.errors, "{n} error", "{n} errors")},
                          {"second", counted(summary.counts.warnings, "{n} warning", "{n} warnings")}}));
}

}  // namespace drivetest
