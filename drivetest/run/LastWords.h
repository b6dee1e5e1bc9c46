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

/// Puts them into the language of the moment; they are English before. Not for signal handlers.
void translateLastWords();

/// Safe in a signal handler.
LastWords lastWordsOf(AtStake stake);

}  // namespace drivetest
