#pragma once

#include <vector>

#include "drivetest/record/RecordedRun.h"

namespace drivetest {

/// The mean rates of so many neighbouring cells each, the last one perhaps of fewer; 0 where none was
/// measured.
std::vector<float> mergedRates(const RecordedSurface& surface, std::size_t cellsPerRate);

/// How fast the parts of the drive were, at most `most` of equal size; empty when the record does not tell.
std::vector<RecordedRegion> regionRates(const RecordedRun& run, std::size_t most);

}  // namespace drivetest
