#pragma once

#include <string>
#include <vector>

namespace drivetest {

/// What the user asked of "drivetest metrics".
struct MetricsOptions {
    std::vector<std::string> records;  ///< files, and folders of them
    std::string folder;
};

/// What the user asked of "drivetest overview".
struct OverviewOptions {
    std::string folder;  ///< of the records
    std::string output;
    bool replaceOutput = false;
};

}  // namespace drivetest
