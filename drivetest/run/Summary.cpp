#include "drivetest/run/Summary.h"

#include "drivetest/report/BadList.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Format.h"

namespace drivetest {

using quix5::TestResult;

namespace {

/// Further lines under a label.
constexpr const char* kIndent = "            ";

/// Whether a drive that passes was so slow in places that nobody should take it for healthy: far slower than
/// it is otherwise.
bool hasOutliers(const DriveStatistics& statistics) {
    constexpr int kFarSlower = 4;
    for (const auto& [operation, histogram] : statistics.latencies())
        if (histogram.longest() > SlowTransfers::kVerySlow &&
            histogram.longest() > kFarSlower * histogram.percentile(0.5))
            return true;
    return false;
}

const char* meaningOfPass(const RunHost& host) {
    if (host.counts().warnings > 0)
        return "no error was found; see the warnings";
    if (host.statistics() != nullptr && hasOutliers(*host.statistics()))
        return "no error was found, but some transfers were far slower than the others";
    return "no problem was found";
}

/// The result in words.
const char* meaningOf(const SummaryFacts& facts, const RunHost& host) {
    if (facts.isDataMissing)
        return "not all data was put back";
    switch (facts.result.code()) {
        case TestResult::PASS:
            return meaningOfPass(host);
        case TestResult::WARN:
            return "no error, but something needs attention";
        case TestResult::NOTSUPPORTED:
            return "the drive cannot be tested this way";
        case TestResult::NOMEDIA:
            return "there is no medium in the drive";
        case TestResult::INCORRECTMEDIA:
            return "the medium in the drive does not fit";
        case TestResult::DEVICEBUSY:
            return "the drive is busy; try again when nothing uses it";
        case TestResult::CANNOTRUN:
            return "the drive could not be tested; this is no verdict on its sectors";
        case TestResult::MISCONFIGURED:
            return "the test is not configured rightly";
        case TestResult::BADPARAMS:
            return "the parameters are not valid; nothing was tested";
        case TestResult::TIMEDOUT:
            return "the drive took too long";
        case TestResult::USERABORTED:
            return "stopped before the end";
        case TestResult::FAIL:
            return "the drive has errors";
        case TestResult::INTERNALERROR:
            return "the test program failed; this is no verdict on the drive";
    }
    return "";
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
    for (const SlowTransfers::Transfer& transfer : slow.slowest())
        if (transfer.duration > SlowTransfers::kSlow)
            console.line(kIndent + durationText(transfer.duration) + "  " + nameOf(transfer.operation) + " " +
                         sectorsText(transfer.lba, transfer.count));
}

}  // namespace

void printSummary(Console& console, const quix5::OfferedTest& test, const quix5::DiagDevice& device,
                  const SummaryFacts& facts, const RunHost& host) {
    const TestResult& result = facts.result;
    // Bad parameters were named in one sentence; there is nothing to sum up.
    if (result == TestResult::BADPARAMS)
        return;
    console.line(test.descriptor.name().utf8() + " on " + device.osLocator().utf8() + ": " + result.name() +
                 " - " + meaningOf(facts, host));
    if (const DriveStatistics* const statistics = host.statistics()) {
        printTotals(console, *statistics);
        printBadSectors(console, statistics->badSectors(), facts.allBadSectors);
        printSlowTransfers(console, statistics->slowTransfers());
    }
    const EventCounts counts = host.counts();
    console.line("  reported  " + countText(counts.errors, "error") + ", " +
                 countText(counts.warnings, "warning"));
}

}  // namespace drivetest
