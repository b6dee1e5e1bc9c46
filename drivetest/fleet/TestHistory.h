#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "drivetest/fleet/FleetIndex.h"
#include "drivetest/fleet/RecordFiles.h"
#include "drivetest/record/RecordedRun.h"

namespace drivetest {

/// The newest run of a test on a drive, and the one to compare it with.
struct TestHistory {
    RecordedRun newest;
    /// The newest of those before that came to its end, if the newest one did as well.
    std::optional<RecordedRun> before{};
    std::size_t older = 0;  ///< runs that are not the newest
};

/// Reads the records of a drive, of which no more than two runs of each test are kept at a time. Empty when
/// none of them can be read; what cannot goes to `leftOut`.
std::vector<TestHistory> readRuns(const FleetIndex::Drive& drive, LeftOut& leftOut);

}  // namespace drivetest
