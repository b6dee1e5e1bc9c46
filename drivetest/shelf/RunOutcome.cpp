#include "drivetest/shelf/RunOutcome.h"

#include <algorithm>
#include <array>

#include "drivetest/ExitStatus.h"
#include "quix5/TestResult.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

/// From best to worst, see quix5::TestResult::Code.
constexpr std::array<int, 11> kFromBest = {
    kExitPass,     kExitWarn,        kExitMedia, kExitBusy,          kExitCannotRun,  kExitUsage,
    kExitTimedOut, kExitUserAborted, kExitFail,  kExitInternalError, kExitNotRestored};

std::ptrdiff_t severityOf(int status) {
    const auto* const found = std::ranges::find(kFromBest, status);
    // What is no status of the program's is a fault of the program.
    return (found != kFromBest.end() ? found : std::ranges::find(kFromBest, int{kExitInternalError})) -
           kFromBest.begin();
}

}  // namespace

bool RunOutcome::hasFigures() const {
    constexpr std::array kVerdicts{quix5::TestResult::PASS, quix5::TestResult::WARN, quix5::TestResult::FAIL};
    const auto isThis = [this](quix5::TestResult::Code code) {
        return result == quix5::TestResult(code).name();
    };
    return readRate || writeRate || badSectors > 0 || std::ranges::any_of(kVerdicts, isThis);
}

int worstStatus(const std::vector<int>& statuses) {
    std::ptrdiff_t worst = 0;
    for (const int status : statuses)
        worst = std::max(worst, severityOf(status));
    return kFromBest.at(static_cast<std::size_t>(worst));
}

std::string resultText(const RunOutcome& outcome) {
    switch (outcome.end) {
        case RunEnd::byItself:
            if (outcome.result.empty())
                return zel::words("not tested");
            return outcome.grade == '\0'
                       ? outcome.result
                       : zel::words("{result}, grade {grade}",
                                    {{"result", outcome.result}, {"grade", std::string(1, outcome.grade)}});
        case RunEnd::crashed:
            return zel::words("crashed");
        case RunEnd::killed:
            return zel::words("killed");
        case RunEnd::hung:
        case RunEnd::lost:
            return zel::words("hung");
        case RunEnd::notStarted:
            return zel::words("not started");
        case RunEnd::refused:
            return zel::words("refused");
        case RunEnd::leftOut:
            break;
    }
    return zel::words("left out");
}

}  // namespace drivetest
