#pragma once

#include <string>
#include <vector>

#include "drivetest/record/RecordedRun.h"

namespace drivetest {

/// What was done, what it means and what to do next, in ten lines at most. Texts of the drive are in them as
/// the record has them.
std::vector<std::string> explainRun(const RecordedRun& run);

}  // namespace drivetest
