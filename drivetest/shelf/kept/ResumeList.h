#pragma once

#include <string>
#include <vector>

#include "drivetest/shelf/ShelfWork.h"
#include "drivetest/shelf/kept/WorkState.h"

namespace drivetest {

/// What is left of a shelf's work, a line for each run: drive, test, and what would become of it.
std::vector<std::string> listOf(const ShelfWork& work, const std::vector<std::vector<RunState>>& states);

}  // namespace drivetest
