#pragma once

#include <string>
#include <vector>

namespace drivetest {

/// The runs of a folder that broke off.
struct BrokenOffRuns {
    std::vector<std::string> records{};    ///< those to resume, in the order of their names
    std::vector<std::string> sentences{};  ///< on those that broke off and cannot be resumed
};

/// Looks through all files "*.jsonl" of the folder. Of a run that was resumed several times the record that
/// is furthest is given, none when one of them came to its end. False after a sentence in `error` when the
/// folder cannot be read.
bool findBrokenOff(const std::string& folder, BrokenOffRuns& runs, std::string& error);

}  // namespace drivetest
