#pragma once

#include <string>
#include <vector>

namespace drivetest {

/// What the user asked of "drivetest report".
struct ReportOptions {
    std::vector<std::string> records;
    std::string output;
    bool replaceOutput = false;
};

}  // namespace drivetest
