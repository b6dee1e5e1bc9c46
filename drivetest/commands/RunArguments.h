#pragma once

#include <string>
#include <vector>

#include "drivetest/commands/RunOptions.h"

namespace drivetest {

/// The words of a command line, without the program's name, that mean these options, whatever is set for all
/// runs. What settings alone can say (the folder for records, colours) and what is of several drives is not
/// among them.
std::vector<std::string> argumentsOf(const RunOptions& options);

}  // namespace drivetest
