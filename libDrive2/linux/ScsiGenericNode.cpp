#include <sys/stat.h>

#include <cerrno>

#include "libDrive2/OpenError.h"
#include "libDrive2/OpenLeases.h"
#include "libDrive2/PlatformOpeners.h"
#include "libDrive2/linux/ErrnoError.h"
#include "libDrive2/linux/LinuxScsiDevice.h"
#include "libDrive2/linux/SysfsBlock.h"

namespace libDrive2 {

/// The generic node of a disk answers also where its block node does not open.
std::unique_ptr<ScsiPassThrough> openPlatformScsiObject(const zel::String& path, bool writable) {
    struct stat found {};
    if (stat(OpenLeases::pathOf(path).utf8().c_str(), &found) != 0) {
        noteOpenError(path + " cannot be opened: " + errnoStatus(errno).text);
        return nullptr;
    }
    const std::string node = S_ISBLK(found.st_mode) ? SysfsBlock(found.st_rdev).scsiGenericName() : "";
    if (node.empty()) {
        noteOpenError(path + " cannot be opened for SCSI commands: it is no SCSI device");
        return nullptr;
    }
    return LinuxScsiDevice::open("/dev/" + node, writable);
}

}  // namespace libDrive2
