#pragma once

#include "drivetest/record/Json.h"
#include "drivetest/statistics/StatisticsState.h"

namespace drivetest {

/// The part of the extension "progress" from which statistics go on, and back. See docs/record.md.
Json stateJson(const StatisticsState& state);
/// Throws a RecordFault, or a Json::exception, when it is no such state.
StatisticsState readState(const Json& json);

}  // namespace drivetest
