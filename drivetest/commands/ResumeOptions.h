#pragma once

#include <string>

#include "drivetest/commands/RunOptions.h"

namespace drivetest {

/// What the user asked of "drivetest resume".
struct ResumeOptions {
    std::string folder;  ///< of the records
    RunOptions run;      ///< what is the same for all runs
};

}  // namespace drivetest
