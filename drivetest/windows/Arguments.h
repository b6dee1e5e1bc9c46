#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace drivetest {

/// The words of a command line, as programs of the C runtime library take them: blanks separate, quotes keep
/// together, a backslash before a quote makes it a letter, two quotes within quotes are one.
std::vector<std::string> splitCommandLine(std::wstring_view line);

}  // namespace drivetest
