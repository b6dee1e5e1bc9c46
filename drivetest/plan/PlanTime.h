#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "drivetest/plan/ResolvedPlan.h"

namespace drivetest {

/// How long something will take.
struct PlannedTime {
    std::chrono::duration<double> time{};
    bool isLimit = false;  ///< it may take less
    bool isLeast = false;  ///< of a part of it nobody can tell

    PlannedTime& operator+=(const PlannedTime& other);
};

/// One run of the test; nothing where nobody can tell. From what the test transfers, at the rate that drives
/// of this kind are taken to have.
std::optional<PlannedTime> timeOf(const ResolvedPlan::Test& test, const quix5::DiagDevice& device);
/// All runs of one drive.
PlannedTime timeOf(const ResolvedPlan::Drive& drive, unsigned repeats);

/// "about 5:33:20", "at most 1:00:00", "at least 10:00".
std::string timeText(const PlannedTime& time);
/// What the times rest on, as a sentence.
std::string describeAssumedRates();

}  // namespace drivetest
