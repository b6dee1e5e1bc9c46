#pragma once

#include <span>
#include <string_view>

namespace drivetest {

/// The files of plans that come with the program.
extern const std::string_view kNewDrivePlan;
extern const std::string_view kUsedDrivePlan;
extern const std::string_view kWeeklyScrubPlan;

struct BuiltInPlan {
    const char* name;  ///< also of its file, before ".toml"
    std::string_view text;
};

std::span<const BuiltInPlan> builtInPlans();

}  // namespace drivetest
