#pragma once

#include <string>

#include "drivetest/commands/RunOptions.h"

namespace drivetest {

/// What the user asked of "drivetest resume".
struct ResumeOptions {
    std::string folder;  ///< of the records
    RunOptions run;      ///< what is the same for all runs
    bool list = false;   ///< says what would be done, and does nothing
};

}  // namespace drivetest
