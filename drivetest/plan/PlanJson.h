#pragma once

#include "drivetest/plan/ResolvedPlan.h"
#include "drivetest/record/RecordWriter.h"

namespace drivetest {

/// What a plan means on this machine, for programs: each drive with what would be run on it, and what is
/// refused.
Json describePlan(const ResolvedPlan& plan);

}  // namespace drivetest
