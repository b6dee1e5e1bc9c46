#pragma once

#include <string>
#include <vector>

namespace drivetest {

/// The name that was probably meant: the one that takes the fewest letters to be changed, left out or put in,
/// in whatever case. Empty where none is near enough: half of the letters may differ at most.
std::string nearestName(const std::string& typed, const std::vector<std::string>& names);

}  // namespace drivetest
