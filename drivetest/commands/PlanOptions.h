#pragma once

#include <string>

#include "drivetest/commands/RunOptions.h"

namespace drivetest {

/// What the user asked of "drivetest plan".
struct PlanOptions {
    std::string action;  ///< "check"; empty for none
    std::string file;
    std::string printed;  ///< the name of a plan that is built in; empty for none
    RunOptions usual{};   ///< what "drivetest run --plan" would begin with
};

}  // namespace drivetest
