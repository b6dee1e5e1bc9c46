#pragma once

#include <string>
#include <vector>

#include "drivetest/settings/TomlFile.h"

namespace drivetest {

/// Something that is wrong with a plan, and where.
struct PlanFault {
    TomlPlace place;
    std::string reason;
};

/// "FILE:LINE:COLUMN: reason" of each, once, as they stand in the file.
std::vector<std::string> linesOf(const TomlFile& file, std::vector<PlanFault> faults);

}  // namespace drivetest
