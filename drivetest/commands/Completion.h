#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace drivetest {

/// The shells that completionScript() knows.
const std::vector<std::string>& completedShells();

/// What makes a shell complete the commands, options and tests of the program. The names of the tests come
/// from "drivetest tests", as the shell needs them.
std::string completionScript(const CLI::App& program, const std::string& shell);

}  // namespace drivetest
