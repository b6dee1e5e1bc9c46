#pragma once

#include <string>
#include <vector>

#include "drivetest/ExitStatus.h"
#include "drivetest/shelf/DriveInquiry.h"
#include "drivetest/shelf/kept/KeptWork.h"

namespace drivetest {

/// A drive of a shelf that is gone on with, as it was found.
struct FoundDrive {
    std::string locator{};  ///< where it is attached now
    DriveAnswer answer{};
    std::string refusal{};  ///< why it cannot be had, a sentence; empty when it can
    ExitStatus refusedAs = kExitCannotRun;
};

/// Looks for each of these drives: where it was, and among all that there are, by what it is. One of which
/// nothing lasting is known is the one that is where it was, with the same size. Each is asked apart from
/// this process, in which no other thread may run.
std::vector<FoundDrive> findAgain(const std::vector<const DriveWork*>& drives);

}  // namespace drivetest
