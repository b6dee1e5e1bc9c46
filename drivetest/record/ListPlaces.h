#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace drivetest {

/// What stands in a line for the list of that number, as a string.
std::string placeOfList(std::size_t list);

/// Puts each list, as text, in the place of the string that stands for it.
void insertLists(std::string& line, const std::vector<std::string>& lists);

}  // namespace drivetest
