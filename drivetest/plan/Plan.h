#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "drivetest/commands/RunOptions.h"
#include "drivetest/plan/DriveMatch.h"
#include "drivetest/plan/PlanFault.h"
#include "drivetest/settings/TomlFile.h"
#include "drivetest/shelf/ShelfWork.h"

namespace drivetest {

/// NAME = VALUE below "parameters" or "properties"; the value as it is typed on a command line.
struct PlannedValue {
    std::string name;
    TomlPlace namePlace;
    std::string value;
    TomlPlace valuePlace;
};

/// One of a plan's tests, as far as the file itself tells.
struct PlannedTest {
    TomlPlace place;    ///< of its heading, or of the test's name where there is one
    std::string label;  ///< what drives call it by
    RunOptions options;
    std::vector<PlannedValue> parameters{};
    std::vector<PlannedValue> properties{};
    std::map<std::string, TomlPlace> places{};  ///< of the values of its other keys
    unsigned repeats = 1;
};

/// What a plan names: one drive, or all that match.
struct PlannedDrive {
    enum class By : std::uint8_t { path, serial, match };

    TomlPlace place;  ///< of its heading, or of what names it where that is one value
    By by = By::match;
    std::string name{};  ///< the path or the serial number
    DriveMatch match{};
    std::vector<TomlText> tests{};  ///< labels; empty for all tests of the plan
};

/// A plan as it stands in its file.
struct Plan {
    std::string file;
    OnFailure onFailure = OnFailure::goOn;
    unsigned repeats = 1;
    unsigned jobs = 0;
    std::string folder{};
    std::optional<std::uint32_t> hangSeconds{};
    std::vector<TomlText> confirmed{};  ///< serial numbers, paths of drives without one
    std::vector<PlannedTest> tests{};
    std::vector<PlannedDrive> drives{};
};

}  // namespace drivetest
