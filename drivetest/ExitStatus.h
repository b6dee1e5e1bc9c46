#pragma once

#include "quix5/TestResult.h"

namespace drivetest {

/// What the program's exit status says.
enum ExitStatus : int {
    kExitPass = 0,
    kExitFail = 1,
    kExitUsage = 2,  ///< bad parameters, misconfigured, wrong usage
    kExitWarn = 3,
    kExitMedia = 4,
    kExitBusy = 5,
    kExitCannotRun = 6,
    kExitTimedOut = 7,
    kExitInternalError = 8,
    kExitNotRestored = 9,  ///< sectors do not hold their data, and can perhaps be recovered
    kExitUserAborted = 130,
};

/// What the program makes of a result.
struct ResultRow {
    quix5::TestResult::Code code;
    ExitStatus status;
    const char* meaning;  ///< in words; a text to translate
};
const ResultRow& rowOf(const quix5::TestResult& result);

inline ExitStatus exitStatusOf(const quix5::TestResult& result) {
    return rowOf(result).status;
}

}  // namespace drivetest
