#pragma once

#include <string>
#include <vector>

#include "drivetest/record/RecordedRun.h"

namespace drivetest {

/// The runs of one drive, the oldest first. Nothing after a sentence in `problem`: a record cannot be read,
/// or they are of different drives.
std::vector<RecordedRun> readHistory(const std::vector<std::string>& records, std::string& problem);

}  // namespace drivetest
