#include "drivetest/plan/BuiltInPlans.h"

namespace drivetest {

std::span<const BuiltInPlan> builtInPlans() {
    static const BuiltInPlan kPlans[] = {
        {"new-drive", kNewDrivePlan}, {"used-drive", kUsedDrivePlan}, {"weekly-scrub", kWeeklyScrubPlan}};
    return kPlans;
}

}  // namespace drivetest
