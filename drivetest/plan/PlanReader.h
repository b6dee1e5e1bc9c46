#pragma once

#include <vector>

#include "drivetest/plan/Plan.h"
#include "drivetest/settings/TomlFile.h"

namespace drivetest {

/// The plan in a file. What a test says nothing of is as `usual` has it. What is wrong is added to `faults`,
/// in any order; the plan is then of no use but to be looked through for more.
Plan readPlan(const TomlFile& file, const RunOptions& usual, std::vector<PlanFault>& faults);

}  // namespace drivetest
