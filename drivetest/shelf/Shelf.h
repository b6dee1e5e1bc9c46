#pragma once

#include <memory>

#include "drivetest/shelf/RunOrder.h"
#include "drivetest/shelf/ShelfWork.h"

namespace drivetest {

/// How work on several drives is shown.
struct ShelfLook {
    bool quiet = false;   ///< no progress, only what has ended
    bool colours = true;  ///< where a terminal has them
};

/// Carries the work out, each run in a process of its own, shows how far it is, and sums it up in the end:
/// on the screen, and in a report that links those of the drives. Work that is kept is in a file before
/// anything starts, and nothing starts without. Stops when it is asked to. Gives the exit status of the worst
/// run, see worstStatus(). This process holds none of the drives. `order` says which are tested at the same
/// time; null for as many as ShelfWork::jobs allows.
int runShelf(ShelfWork work, const ShelfLook& look = {}, std::unique_ptr<RunOrder> order = nullptr);

}  // namespace drivetest
