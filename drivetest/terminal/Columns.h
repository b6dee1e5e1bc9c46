#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace drivetest {

/// How many columns of a terminal printable UTF-8 text takes: two for each wide character of East Asia
/// (Unicode's standard annex 11), none for marks that are set above others.
std::size_t columnsOf(std::string_view text);

/// The text with so many columns that others stand below each other; one blank follows it at least.
std::string padded(std::string_view text, std::size_t columns);

/// What a line of an event begins with, such as "error:"; further lines of it begin with kEventIndent.
std::string eventLabel(std::string_view text);
inline constexpr const char* kEventIndent = "         ";

/// What a line of a summary begins with; further ones under it begin with kSummaryIndent.
std::string summaryLabel(std::string_view text);
inline constexpr const char* kSummaryIndent = "            ";

/// The text as lines of so many columns, broken at blanks; further ones begin below what follows its label.
/// Words that are longer are left to the terminal.
std::string brokenAtBlanks(std::string_view text, std::size_t columns);

/// The text in at most so many columns; what is cut ends with "…".
std::string shortened(std::string_view text, std::size_t columns);

}  // namespace drivetest
