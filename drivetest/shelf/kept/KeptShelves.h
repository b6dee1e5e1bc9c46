#pragma once

#include <set>
#include <string>
#include <vector>

#include "drivetest/commands/RunOptions.h"
#include "drivetest/resume/RunChains.h"
#include "drivetest/shelf/kept/KeptWork.h"
#include "drivetest/shelf/kept/WorkState.h"

namespace drivetest {

/// A shelf that left something to do.
struct KeptShelf {
    KeptWork work;
    std::vector<std::vector<RunState>> states;
};

/// All shelves of a folder that kept their work.
struct KeptShelves {
    std::vector<KeptShelf> left{};         ///< in the order in which they began
    std::set<std::string> records{};       ///< names of those that belong to a shelf, done or not
    std::vector<std::string> sentences{};  ///< on those that nobody can go on with
};

/// `usual` as readKeptWork() has it.
KeptShelves findKeptShelves(const std::string& folder, const RunChains& chains, const RunOptions& usual);

}  // namespace drivetest
