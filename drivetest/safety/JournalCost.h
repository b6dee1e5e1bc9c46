#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace drivetest {

/// What to tell before a run whose journal wears the disk that it lies on: lines for people, none for a small
/// test or a folder in memory.
std::vector<std::string> journalCostLines(std::uint64_t testedBytes, const std::string& folder);

}  // namespace drivetest
