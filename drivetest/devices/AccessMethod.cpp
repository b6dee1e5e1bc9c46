#include "drivetest/devices/AccessMethod.h"

#include "libDrive2/AtaDrive.h"
#include "libDrive2/NVMeDrive.h"
#include "libDrive2/OSFloppyDrive.h"
#include "libDrive2/OSScsiSBCDrive.h"
#include "libDrive2/ScsiMMCDrive.h"
#include "libDrive2/UFIFloppyDrive.h"

namespace drivetest {

namespace {

template <class Kind>
bool is(const libDrive2::Drive& drive) {
    return dynamic_cast<const Kind*>(&drive) != nullptr;
}

}  // namespace

const char* accessMethodOf(const libDrive2::Drive& drive) {
    if (is<libDrive2::NVMeDrive>(drive))
        return "nvme";
    if (is<libDrive2::AtaDrive>(drive))
        return "ata";
    if (is<libDrive2::OSScsiSBCDrive>(drive))
        return "blockAndScsi";
    if (is<libDrive2::ScsiMMCDrive>(drive))
        return "optical";
    // A kind of the next one.
    if (is<libDrive2::UFIFloppyDrive>(drive))
        return "usbFloppy";
    if (is<libDrive2::ScsiSBCDrive>(drive))
        return "scsi";
    return is<libDrive2::OSFloppyDrive>(drive) ? "floppy" : "block";
}

}  // namespace drivetest
