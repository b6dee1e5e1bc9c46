#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace drivetest {

/// What another program did and said.
struct ChildResult {
    enum class End : unsigned char {
        notStarted,
        byItself,
        killed,       ///< by somebody else, or by a fault of its own
        tooLate,      ///< it took longer than it may, and was ended
        stopRequest,  ///< the user does not want it any more, and it was ended
    };
    End end = End::notStarted;
    int status = -1;     ///< of its exit, when it ended by itself
    std::string output;  ///< its standard output
    std::string errors;  ///< its standard error, or why it could not be started
};

struct ChildOptions {
    std::string_view input{};  ///< what its standard input holds
    std::chrono::milliseconds longest{};
    bool mayAsk = false;  ///< the user, on the terminal
    std::string
        temporaryFolder{};  ///< for its files, of which some stay when it is ended; empty for the usual one
    std::size_t mostBytes = std::string::npos;  ///< of each output; what is beyond is not kept
};

/// Runs a program, without a shell, and waits for its end, but no longer than it may take. What it has
/// started ends with it, but for what a program on the terminal starts. `path` leads to it.
ChildResult runChild(const std::string& path, const std::vector<std::string>& arguments,
                     const ChildOptions& options);

/// Where the first of these programs is; empty when none is installed. Names are without a suffix.
std::string findProgram(const std::vector<std::string>& names);

/// The folders in which programs are looked for, absolute.
std::vector<std::string> programFolders();
/// What a program's file name ends with: "" or ".exe".
std::string_view programSuffix();

}  // namespace drivetest
