#pragma once

#include "drivetest/shelf/ShelfWork.h"

namespace drivetest {

/// Runs all of it, each drive by a process of its own, and gives the exit status of the worst.
int runShelf(const ShelfWork& work);

}  // namespace drivetest
