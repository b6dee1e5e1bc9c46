#include "libDrive2/linux/FileIdentity.h"

#include <blkid/blkid.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/sysmacros.h>

#include <cstring>
#include <memory>

#include "libDrive2/linux/FileDescriptor.h"
#include "libDrive2/linux/MountTable.h"
#include "libDrive2/linux/SysfsBlock.h"

namespace libDrive2 {

namespace {

constexpr long kZfsMagic = 0x2FC12FC1;

std::string hex(std::uint64_t value) {
    char text[17];
    std::snprintf(text, sizeof text, "%016lx", value);
    return text;
}

/// Of these the system's number comes from the UUID; of others it is the device's number.
bool hasLastingNumber(long magic) {
    return magic == EXT4_SUPER_MAGIC || magic == BTRFS_SUPER_MAGIC || magic == TMPFS_MAGIC ||
           magic == kZfsMagic;
}

std::string numberOfFileSystem(const std::string& path, dev_t fileSystem) {
    struct stat found {};
    struct statfs system {};
    if (stat(path.c_str(), &found) != 0 || found.st_dev != fileSystem || statfs(path.c_str(), &system) != 0 ||
        !hasLastingNumber(system.f_type))
        return {};
    std::uint64_t number = 0;
    static_assert(sizeof number == sizeof system.f_fsid);
    std::memcpy(&number, &system.f_fsid, sizeof number);
    return number == 0 ? std::string() : hex(number);
}

std::string uuidOn(dev_t device) {
    const FileDescriptor node(
        ::open(("/dev/" + SysfsBlock(device).name()).c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat found {};
    if (!node || fstat(node.get(), &found) != 0 || found.st_rdev != device)
        return {};
    const std::unique_ptr<std::remove_pointer_t<blkid_probe>, decltype(&blkid_free_probe)> probe(
        blkid_new_probe(), &blkid_free_probe);
    const char* uuid = nullptr;
    if (probe == nullptr || blkid_probe_set_device(probe.get(), node.get(), 0, 0) != 0)
        return {};
    blkid_probe_enable_superblocks(probe.get(), 1);
    blkid_probe_set_superblocks_flags(probe.get(), BLKID_SUBLKS_UUID);
    if (blkid_do_probe(probe.get()) != 0 ||
        blkid_probe_lookup_value(probe.get(), "UUID", &uuid, nullptr) != 0)
        return {};
    return uuid;
}

/// A file whose name is gone is still on a mounted file system.
std::string fileSystemId(dev_t fileSystem, const std::string& path) {
    if (const std::string number = numberOfFileSystem(path, fileSystem); !number.empty())
        return number;
    const std::string wanted = std::to_string(major(fileSystem)) + ":" + std::to_string(minor(fileSystem));
    for (const Mount& mount : listMounts())
        if (mount.number == wanted)
            if (const std::string number = numberOfFileSystem(mount.folder, fileSystem); !number.empty())
                return number;
    return uuidOn(fileSystem);
}

std::string birthOf(const std::string& path, dev_t fileSystem, ino_t inode) {
    struct statx found {};
    if (statx(AT_FDCWD, path.c_str(), 0, STATX_BTIME | STATX_INO, &found) != 0 || found.stx_ino != inode ||
        makedev(found.stx_dev_major, found.stx_dev_minor) != fileSystem ||
        (found.stx_mask & STATX_BTIME) == 0)
        return {};
    return std::to_string(found.stx_btime.tv_sec) + "." + std::to_string(found.stx_btime.tv_nsec);
}

}  // namespace

std::string bootId() {
    static const std::string id = readLine("/proc/sys/kernel/random/boot_id");
    return id;
}

std::string fileIdOf(dev_t fileSystem, ino_t inode, const std::string& path) {
    const std::string system = fileSystemId(fileSystem, path);
    if (system.empty())
        return "boot:" + bootId() + ":file:" + std::to_string(fileSystem) + ":" + std::to_string(inode);
    return "file:" + system + ":" + std::to_string(inode) + ":" + birthOf(path, fileSystem, inode);
}

}  // namespace libDrive2
