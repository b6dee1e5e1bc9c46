#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace drivetest {

/// How many columns of a terminal printable UTF-8 text takes: two for each wide character of East Asia
/// (Unicode's standard annex 11), none for marks that are set above others.
std::size_t columnsOf(std::string_view text);

/// The text with so many columns that others stand below each other; one blank follows it at least.
std::string padded(std::string_view text, std::size_t columns);

/// The text in at most so many columns; what is cut ends with "…".
std::string shortened(std::string_view text, std::size_t columns);

/// The text in lines of at most so many columns, as far as it can be broken: at blanks, and between the
/// characters of scripts that have none.
std::vector<std::string> folded(std::string_view text, std::size_t columns);

/// The same, joined, where a label such as "error:" may stand before the text: all lines begin behind it.
std::string foldedBehindLabel(std::string_view text, std::size_t columns);

/// The text with a mark wherever folded() could break it, but at blanks.
std::string withBreaksMarked(std::string_view text, std::string_view mark);

}  // namespace drivetest
