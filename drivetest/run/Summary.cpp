#include "drivetest/run/Summary.h"

#include "drivetest/terminal/Texts.h"
#include "zel/Format.h"

namespace drivetest {

using quix5::TestResult;

namespace {

/// The result in words.
const char* meaningOf(const TestResult& result) {
    switch (result.code()) {
        case TestResult::PASS:
            return "no problem was found";
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
        console.line(zel::format("  sectors   %u requested = %u tested + %u failed + %u skipped",
                                 coverage.requested, coverage.tested, coverage.failed, coverage.skipped)
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

}  // namespace

void printSummary(Console& console, const quix5::OfferedTest& test, const quix5::DiagDevice& device,
                  const TestResult& result, const RunHost& host) {
    // Bad parameters were named in one sentence; there is nothing to sum up.
    if (result == TestResult::BADPARAMS)
        return;
    console.line(test.descriptor.name().utf8() + " on " + device.osLocator().utf8() + ": " + result.name() +
                 " - " + meaningOf(result));
    if (host.statistics() != nullptr)
        printTotals(console, *host.statistics());
    const EventCounts counts = host.counts();
    console.line("  reported  " + countText(counts.errors, "error") + ", " +
                 countText(counts.warnings, "warning"));
}

}  // namespace drivetest
