#pragma once

#include <string>
#include <vector>

namespace drivetest {

/// What the user asked of "drivetest grade".
struct GradeOptions {
    std::vector<std::string> records;
    std::string grading = "default";  ///< or a file of limits
    bool printsDefault = false;
};

}  // namespace drivetest
