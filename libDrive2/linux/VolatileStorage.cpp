#include "libDrive2/linux/VolatileStorage.h"

#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/sysmacros.h>

#include <sstream>
#include <string>

#include "libDrive2/linux/MountTable.h"
#include "libDrive2/linux/StorageMap.h"
#include "libDrive2/linux/SysfsBlock.h"

namespace libDrive2 {

namespace fs = std::filesystem;

namespace {

/// Deeper than anybody stacks; ends loops that lead back.
constexpr int kMostLayers = 16;

bool isFolderInMemory(const fs::path& folder, int layers);

/// Memory that is driven as a disk.
bool isRamDisk(const std::string& name) {
    const auto isNumbered = [&name](const std::string& driver) {
        return name.starts_with(driver) &&
               name.find_first_not_of("0123456789", driver.size()) == std::string::npos;
    };
    return isNumbered("zram") || isNumbered("ram");
}

/// A device's folder in /sys, through partitions and mappings down to disks.
bool isDeviceInMemory(const fs::path& device, int layers) {
    std::error_code failed;
    if (layers == 0 || isRamDisk(device.filename().string()))
        return layers != 0;
    if (fs::exists(device / "partition", failed))
        return isDeviceInMemory(device.parent_path(), layers - 1);
    // Of a deleted file the folder tells, too.
    if (const std::string file = readLine(device / "loop" / "backing_file"); !file.empty())
        return isFolderInMemory(nearestExisting(file), layers - 1);
    for (const auto& member : fs::directory_iterator(device / "slaves", failed))
        if (isDeviceInMemory(fs::canonical(member.path(), failed), layers - 1))
            return true;
    return false;
}

fs::path deviceFolder(dev_t number) {
    std::error_code failed;
    const fs::path folder = fs::canonical(
        "/sys/dev/block/" + std::to_string(major(number)) + ":" + std::to_string(minor(number)), failed);
    return failed ? fs::path() : folder;
}

bool isOverlayInMemory(const Mount& mount, dev_t number, int layers) {
    std::istringstream options(mount.options);
    std::string upper;
    for (std::string option; std::getline(options, option, ',');) {
        // An overlay that never waits for its writes.
        if (option == "volatile")
            return true;
        if (option.starts_with("upperdir="))
            upper = unescape(option.substr(option.find('=') + 1));
    }
    // Seen from within a container, the path may lead nowhere, or back to the same file system.
    struct stat found {};
    return !upper.empty() && stat(upper.c_str(), &found) == 0 && found.st_dev != number &&
           isFolderInMemory(upper, layers - 1);
}

bool isFolderInMemory(const fs::path& folder, int layers) {
    struct statfs system {};
    struct stat found {};
    if (layers == 0 || statfs(folder.c_str(), &system) != 0 || stat(folder.c_str(), &found) != 0)
        return false;
    if (system.f_type == TMPFS_MAGIC || system.f_type == RAMFS_MAGIC)
        return true;
    if (const fs::path device = deviceFolder(found.st_dev); !device.empty())
        return isDeviceInMemory(device, layers - 1);
    std::error_code failed;
    const auto mount = mountAbove(fs::canonical(folder, failed));
    if (!mount)
        return false;
    if (mount->type == "overlay")
        return isOverlayInMemory(*mount, found.st_dev, layers);
    // Of a file system with a number of its own, such as btrfs.
    struct stat source {};
    return stat(mount->source.c_str(), &source) == 0 && S_ISBLK(source.st_mode) &&
           isDeviceInMemory(deviceFolder(source.st_rdev), layers - 1);
}

}  // namespace

bool isInMemory(const fs::path& folder) {
    return isFolderInMemory(folder, kMostLayers);
}

}  // namespace libDrive2
