#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace drivetest {

/// "1:02:03"; below ten seconds "4.56 s"
std::string durationText(std::chrono::nanoseconds duration);
/// The same of what is only foreseen: "14 days", "9 years" of what takes so long.
std::string forecastText(std::chrono::nanoseconds duration);
/// "931.5 GiB"
std::string sizeText(std::uint64_t bytes);
/// "\"text\""
std::string quoted(const std::string& text);
/// "sectors 7 through 9", "sector 7"
std::string sectorsText(std::uint64_t lba, std::uint64_t count);
/// "3 errors", "1 error"
std::string countText(std::uint64_t count, const char* singular);

/// Of a drive's name or serial number, what can stand in the name of a file: letters, digits and "_", not
/// long.
std::string fileNameText(std::string text);

/// Text of any origin as one line that a terminal only shows: control characters as "\n", "\t" or "\x1b",
/// marks that reverse or hide text as "\u{202e}", bytes that are no UTF-8 as "\xff".
std::string printable(std::string_view text);

}  // namespace drivetest
