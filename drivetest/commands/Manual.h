#pragma once

#include <string>

namespace CLI {
class App;
}

namespace drivetest {

/// The manual page of the program, as troff: all that the --help of the program and of each of its commands
/// has.
std::string manualPage(const CLI::App& program);

}  // namespace drivetest
