#pragma once

#include <string>
#include <vector>

#include "drivetest/commands/RunOptions.h"

namespace drivetest {

/// The words of a command line, without the program's name, that mean these options, whatever is set for all
/// runs. What settings alone can say (the folder for records, colours) and what is of several drives is not
/// among them.
std::vector<std::string> argumentsOf(const RunOptions& options);

/// The other way: what the command line makes of such words, beside what is in `options` already. False after
/// a sentence in `error`.
bool optionsOf(const std::vector<std::string>& words, RunOptions& options, std::string& error);

}  // namespace drivetest
