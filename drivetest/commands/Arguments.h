#pragma once

#include <string>
#include <vector>

namespace drivetest {

/// What main() was given, as UTF-8: the program's name and its arguments; nothing when it was given nothing.
std::vector<std::string> programArguments(int argc, char** argv);

}  // namespace drivetest
