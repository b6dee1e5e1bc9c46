#pragma once

#include <string>
#include <vector>

#include "drivetest/fleet/RecordFiles.h"
#include "drivetest/record/RecordedRun.h"

namespace drivetest {

/// Which runs there are, by drive and test, as the beginnings of their records tell.
struct FleetIndex {
    struct Run {
        std::string startTime;
        std::string commandLine;
        /// Several where it was gone on with, or a record was copied.
        std::vector<std::string> records{};
    };
    struct Test {
        std::string name;
        std::vector<Run> runs{};  ///< the oldest first
    };
    struct Drive {
        RecordedDrive drive;  ///< as the newest record tells
        std::vector<Test> tests{};
    };
    std::vector<Drive> drives{};  ///< in the order of models and serial numbers

    /// Files of another kind, and what cannot be read, go to `leftOut`.
    static FleetIndex of(const std::vector<std::string>& records, LeftOut& leftOut);
};

}  // namespace drivetest
