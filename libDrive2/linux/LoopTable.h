#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace libDrive2 {

/// What a path or a descriptor leads to, whatever its name: a block device, or a file of a file system.
struct StorageNode {
    StorageNode() = default;
    explicit StorageNode(const struct stat& found);

    bool isDevice = false;
    dev_t device = 0;  ///< of a file: its file system's
    ino_t inode = 0;   ///< 0 for a device

    bool operator==(const StorageNode&) const = default;
};

/// What a loop device is attached to, as the kernel knows it: whatever became of the name that was used then.
struct LoopBacking {
    bool isBlockDevice = false;
    dev_t device = 0;                     ///< the block device, or the device of the file's file system
    ino_t inode = 0;                      ///< of the file
    std::uint64_t offset = 0, bytes = 0;  ///< bytes: 0 to the end
    std::string path;                     ///< the name at that time; may lead elsewhere by now

    /// Nothing when the device is no attached loop device.
    static std::optional<LoopBacking> of(dev_t loop);
};

/// A loop device with something behind it.
struct AttachedLoop {
    std::string name;  ///< "loop3"
    dev_t number = 0;
    StorageNode backing;
};

/// All that are attached. What the devices themselves tell holds for files that were renamed, deleted or are
/// seen elsewhere, too; where they may not be asked, the path that /sys shows has to do.
std::vector<AttachedLoop> listLoops();

}  // namespace libDrive2
