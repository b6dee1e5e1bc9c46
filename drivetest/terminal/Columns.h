#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace drivetest {

/// How many columns of a terminal printable UTF-8 text takes: two for each wide character of East Asia
/// (Unicode's standard annex 11), none for marks that are set above others.
std::size_t columnsOf(std::string_view text);

/// The text in at most so many columns; what is cut ends with "…".
std::string shortened(std::string_view text, std::size_t columns);

}  // namespace drivetest
