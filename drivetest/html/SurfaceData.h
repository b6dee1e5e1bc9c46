#pragma once

#include "drivetest/record/Json.h"
#include "drivetest/record/RecordedRun.h"

namespace drivetest {

/// The surface for the page's scripts, a million cells in less than three megabytes: a byte for each cell's
/// outcome, for its slowest transfer and for its rate, the latter two on a scale of equal ratios, in
/// whichever of two codings is shorter. Null when the record has none.
Json surfaceData(const RecordedRun& run);

}  // namespace drivetest
