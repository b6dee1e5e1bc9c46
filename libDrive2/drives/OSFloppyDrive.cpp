#include "libDrive2/OSFloppyDrive.h"

namespace libDrive2 {

OSFloppyDrive::OSFloppyDrive(SharedBlockHandle handle) : OSDrive(std::move(handle), {}) {}

bool OSFloppyDrive::isMediaRemovable() {
    return true;
}

/// The controller tells of a new floppy only when it is read; what the system does not mark as removable
/// counts as present.
bool OSFloppyDrive::isMediaPresent() {
    (void)handle().query();
    return handle().info().mediumPresent && handle().info().bytes > 0;
}

}  // namespace libDrive2
