#pragma once

#include <string>
#include <vector>

#include "libDrive2/commands/Bytes.h"

namespace libDrive2 {

/// Appends the names in a list of FILE_FULL_DIR_INFO, "." and ".." too, as UTF-8. False when the list leads
/// out of itself.
bool appendNames(Bytes list, std::vector<std::string>& names);

}  // namespace libDrive2
