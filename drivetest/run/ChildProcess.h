#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace drivetest {

/// What another program did and said.
struct ChildResult {
    int status = -1;     ///< of its exit; -1 when it could not be started, or was ended
    std::string output;  ///< its standard output
    std::string errors;  ///< its standard error, or why it could not be started
};

/// Runs a program, without a shell, gives it `input`, and waits for its end. `path` leads to it; what it may
/// ask on the terminal it asks there.
ChildResult runChild(const std::string& path, const std::vector<std::string>& arguments,
                     std::string_view input = {});

/// Where the first of these programs is; empty when none is installed. Names are without a suffix.
std::string findProgram(const std::vector<std::string>& names);

/// The folders in which programs are looked for, absolute.
std::vector<std::string> programFolders();
/// What a program's file name ends with: "" or ".exe".
std::string_view programSuffix();

}  // namespace drivetest
