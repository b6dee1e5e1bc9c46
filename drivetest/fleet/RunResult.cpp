#include "drivetest/fleet/RunResult.h"

#include "drivetest/terminal/Columns.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Words.h"

namespace drivetest {

using quix5::TestResult;

std::size_t resultOf(const RecordedRun& run) {
    if (run.result.empty())
        return kUnfinishedResult;
    std::size_t result = 0;
    while (result < kUnfinishedResult && resultName(result) != run.result)
        ++result;
    return result < kUnfinishedResult ? result : kOtherResult;
}

std::string resultName(std::size_t result) {
    if (result < kUnfinishedResult)
        return TestResult(static_cast<TestResult::Code>(result)).name();
    return result == kUnfinishedResult ? "UNFINISHED" : "OTHER";
}

std::string resultText(std::size_t result) {
    if (result < kUnfinishedResult)
        return resultName(result);
    return result == kUnfinishedResult ? zel::words("unfinished") : zel::words("unknown");
}

std::size_t severityOf(std::size_t result) {
    return result == TestResult::FAIL ? kResults : result;
}

std::string shortText(std::string_view text) {
    constexpr std::size_t kMostColumns = 128;
    // Marks that are set above others take no column.
    constexpr std::size_t kMostBytes = 512;
    return shortened(printable(text.substr(0, kMostBytes)), kMostColumns);
}

std::string nameOf(const RecordedDrive& drive) {
    return drive.serial.empty() ? drive.location
                                : drive.model + (drive.model.empty() ? "" : " ") + drive.serial;
}

}  // namespace drivetest
