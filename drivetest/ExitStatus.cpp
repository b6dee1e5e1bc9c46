#include "drivetest/ExitStatus.h"

#include <algorithm>
#include <iterator>

#include "zel/Words.h"

namespace drivetest {

using quix5::TestResult;
using zel::marked;

namespace {

constexpr ResultRow kResults[] = {
    {TestResult::PASS, kExitPass, marked("no problem was found")},
    {TestResult::FAIL, kExitFail, marked("the drive has errors")},
    {TestResult::BADPARAMS, kExitUsage, marked("the parameters are not valid; nothing was tested")},
    {TestResult::MISCONFIGURED, kExitUsage, marked("the test is not configured rightly")},
    {TestResult::WARN, kExitWarn, marked("no error, but something needs attention")},
    {TestResult::NOMEDIA, kExitMedia, marked("there is no medium in the drive")},
    {TestResult::INCORRECTMEDIA, kExitMedia, marked("the medium in the drive does not fit")},
    {TestResult::DEVICEBUSY, kExitBusy, marked("the drive is busy; try again when nothing uses it")},
    {TestResult::CANNOTRUN, kExitCannotRun,
     marked("the drive could not be tested; this is no verdict on its sectors")},
    {TestResult::NOTSUPPORTED, kExitCannotRun, marked("the drive cannot be tested this way")},
    {TestResult::TIMEDOUT, kExitTimedOut, marked("the drive took too long")},
    {TestResult::INTERNALERROR, kExitInternalError,
     marked("the test program failed; this is no verdict on the drive")},
    {TestResult::USERABORTED, kExitUserAborted, marked("stopped before the end")},
};

}  // namespace

const ResultRow& rowOf(const TestResult& result) {
    const auto* const row = std::ranges::find(kResults, result.code(), &ResultRow::code);
    return row != std::end(kResults) ? *row : rowOf(TestResult::INTERNALERROR);
}

}  // namespace drivetest
