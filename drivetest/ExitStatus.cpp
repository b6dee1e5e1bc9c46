#include "drivetest/ExitStatus.h"

namespace drivetest {

using quix5::TestResult;

ExitStatus exitStatusOf(const TestResult& result) {
    switch (result.code()) {
        case TestResult::PASS:
            return kExitPass;
        case TestResult::FAIL:
            return kExitFail;
        case TestResult::BADPARAMS:
        case TestResult::MISCONFIGURED:
            return kExitUsage;
        case TestResult::WARN:
            return kExitWarn;
        case TestResult::NOMEDIA:
        case TestResult::INCORRECTMEDIA:
            return kExitMedia;
        case TestResult::DEVICEBUSY:
            return kExitBusy;
        case TestResult::CANNOTRUN:
        case TestResult::NOTSUPPORTED:
            return kExitCannotRun;
        case TestResult::TIMEDOUT:
            return kExitTimedOut;
        case TestResult::INTERNALERROR:
            return kExitInternalError;
        case TestResult::USERABORTED:
            return kExitUserAborted;
    }
    return kExitInternalError;
}

}  // namespace drivetest
