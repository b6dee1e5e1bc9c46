#pragma once

#include <string>
#include <vector>

#include "drivetest/commands/RunOptions.h"

namespace drivetest {

/// The words that begin a run of a shelf anew another day. What lets it write to a drive, what spares it a
/// safeguard, and code that it loads are not among them: whoever goes on gives these again.
std::vector<std::string> keptArgumentsOf(const RunOptions& options);

/// A path as it is good from any folder; what is none, such as "sim:…", stays.
std::string lastingPath(const std::string& path);

/// The options that such words mean, beside those of `usual`. False after half a sentence in `error` that
/// says what is in them that no shelf has put there.
bool readKeptArguments(const std::vector<std::string>& words, RunOptions& options, std::string& error);

}  // namespace drivetest
