#pragma once

#include <set>
#include <string>
#include <vector>

#include "drivetest/resume/RunChains.h"

namespace drivetest {

/// The runs of a folder that broke off.
struct BrokenOffRuns {
    std::vector<std::string> records{};    ///< those to resume, in the order of their names
    std::vector<std::string> sentences{};  ///< on those that broke off and cannot be resumed
};

/// Of a run that was resumed several times the record that is furthest is given, none when one of them came
/// to its end, or has one of the names `besides`.
BrokenOffRuns brokenOffAmong(const RunChains& chains, const std::set<std::string>& besides);

}  // namespace drivetest
