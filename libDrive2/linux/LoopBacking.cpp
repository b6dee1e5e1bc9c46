#include "libDrive2/linux/LoopBacking.h"

#include <fcntl.h>
#include <linux/loop.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include "libDrive2/linux/FileDescriptor.h"
#include "libDrive2/linux/SysfsBlock.h"

namespace libDrive2 {

namespace {

/// The kernel's own encoding of device numbers (include/linux/kdev_t.h, huge_encode_dev).
dev_t decoded(std::uint64_t number) {
    return makedev(static_cast<unsigned>((number >> 8) & 0xFFF),
                   static_cast<unsigned>((number & 0xFF) | ((number >> 12) & 0xFFF00)));
}

bool readStatus(const std::string& node, dev_t loop, loop_info64& status) {
    const FileDescriptor device(::open(node.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat found {};
    return device && fstat(device.get(), &found) == 0 && S_ISBLK(found.st_mode) && found.st_rdev == loop &&
           ioctl(device.get(), LOOP_GET_STATUS64, &status) == 0;
}

/// Where the device may not be opened, what the name leads to now has to do.
bool statByName(LoopBacking& backing) {
    struct stat found {};
    if (stat(backing.path.c_str(), &found) != 0)
        return false;
    backing.isBlockDevice = S_ISBLK(found.st_mode);
    backing.device = backing.isBlockDevice ? found.st_rdev : found.st_dev;
    backing.inode = found.st_ino;
    return true;
}

}  // namespace

std::optional<LoopBacking> LoopBacking::of(dev_t loop) {
    const SysfsBlock device(loop);
    LoopBacking backing;
    backing.path = device.attribute("loop/backing_file");
    if (backing.path.empty())
        return std::nullopt;
    backing.offset = device.number("loop/offset");
    backing.bytes = device.number("loop/sizelimit");
    loop_info64 status{};
    if (!readStatus("/dev/" + device.name(), loop, status))
        return statByName(backing) ? std::optional(backing) : std::nullopt;
    // Of a file the second number repeats the first.
    backing.isBlockDevice = status.lo_rdevice != status.lo_device;
    backing.device = decoded(backing.isBlockDevice ? status.lo_rdevice : status.lo_device);
    backing.inode = static_cast<ino_t>(status.lo_inode);
    backing.offset = status.lo_offset;
    backing.bytes = status.lo_sizelimit;
    return backing;
}

}  // namespace libDrive2
