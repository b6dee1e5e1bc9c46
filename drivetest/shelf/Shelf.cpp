#include "drivetest/shelf/Shelf.h"

#include "drivetest/ExitStatus.h"
#include "drivetest/terminal/Console.h"

namespace drivetest {

int runShelf(const ShelfWork& /*work*/) {
    complain("several drives are not supported yet");
    return kExitCannotRun;
}

}  // namespace drivetest
