#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "drivetest/resume/RunChains.h"
#include "drivetest/shelf/RunOutcome.h"
#include "drivetest/shelf/kept/KeptWork.h"

namespace drivetest {

/// How far one run of a shelf is that broke off, or was stopped.
struct RunState {
    enum class Kind : std::uint8_t {
        done,      ///< `outcome` says how; it may have been left out for good
        resumed,   ///< goes on behind what `record` proves
        anew,      ///< was begun, and cannot go on: `reason` says why, a sentence
        fresh,     ///< was not begun
        underWay,  ///< a process writes its record still
    };
    Kind kind = Kind::fresh;
    RunOutcome outcome{};
    std::string record{};  ///< a path
    std::string reason{};
    std::uint64_t sectorsDone = 0;  ///< of `sectors`, that the record proves
    std::uint64_t sectors = 0;
};

/// Of each drive the states of its runs. What has a verdict is done, and what is not to be run after a
/// failure stays left out; all else is gone on with, or begun anew.
std::vector<std::vector<RunState>> statesOf(const KeptWork& work, const RunChains& chains);

}  // namespace drivetest
