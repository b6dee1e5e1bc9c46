#include "libDrive2/OSFloppyDrive.h"

namespace libDrive2 {

OSFloppyDrive::OSFloppyDrive(SharedBlockHandle handle) : OSDrive(std::move(handle), {}) {}

bool OSFloppyDrive::isMediaRemovable() {
    return true;
}

bool OSFloppyDrive::isMediaPresent() {
    return OSDrive::isMediaPresent() && handle().info().bytes > 0;
}

}  // namespace libDrive2
