#pragma once

#include <string_view>

#include "drivetest/ExitStatus.h"
#include "drivetest/run/Signals.h"

namespace drivetest {

/// How often the user has to ask until the program ends without putting anything back.
inline constexpr int kInsistencesToEnd = 3;

/// ECMA-48, CR and ED: takes off a status at whose beginning the cursor stands.
inline constexpr std::string_view kTakeStatusOff = "\r\033[J";

/// What a program says that ends at once, and the status with which it does.
struct LastWords {
    std::string_view text;
    ExitStatus status;
};

/// Safe in a signal handler.
constexpr LastWords lastWordsOf(AtStake stake) {
    switch (stake) {
        case AtStake::nothing:
            break;
        case AtStake::journaledSectors:
            return {
                "\ndrivetest: ended at once: sectors may hold what the test wrote; the journal keeps their "
                "data, and \"drivetest recover\" puts it back\n",
                kExitNotRestored};
        case AtStake::unprotectedSectors:
            return {
                "\ndrivetest: ended at once: sectors may hold what the test wrote, and no journal keeps "
                "their "
                "data\n",
                kExitNotRestored};
    }
    return {"\ndrivetest: ended at once\n", kExitUserAborted};
}

}  // namespace drivetest
