#include "drivetest/ExitStatus.h"

#include <algorithm>
#include <iterator>

namespace drivetest {

using quix5::TestResult;

namespace {

constexpr ResultRow kResults[] = {
    {TestResult::PASS, kExitPass, "no problem was found"},
    {TestResult::FAIL, kExitFail, "the drive has errors"},
    {TestResult::BADPARAMS, kExitUsage, "the parameters are not valid; nothing was tested"},
    {TestResult::MISCONFIGURED, kExitUsage, "the test is not configured rightly"},
    {TestResult::WARN, kExitWarn, "no error, but something needs attention"},
    {TestResult::NOMEDIA, kExitMedia, "there is no medium in the drive"},
    {TestResult::INCORRECTMEDIA, kExitMedia, "the medium in the drive does not fit"},
    {TestResult::DEVICEBUSY, kExitBusy, "the drive is busy; try again when nothing uses it"},
    {TestResult::CANNOTRUN, kExitCannotRun,
     "the drive could not be tested; this is no verdict on its sectors"},
    {TestResult::NOTSUPPORTED, kExitCannotRun, "the drive cannot be tested this way"},
    {TestResult::TIMEDOUT, kExitTimedOut, "the drive took too long"},
    {TestResult::INTERNALERROR, kExitInternalError,
     "the test program failed; this is no verdict on the drive"},
    {TestResult::USERABORTED, kExitUserAborted, "stopped before the end"},
};

}  // namespace

const ResultRow& rowOf(const TestResult& result) {
    const auto* const row = std::ranges::find(kResults, result.code(), &ResultRow::code);
    return row != std::end(kResults) ? *row : rowOf(TestResult::INTERNALERROR);
}

}  // namespace drivetest
