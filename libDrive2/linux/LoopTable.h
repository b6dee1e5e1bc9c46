#pragma once

#include <sys/stat.h>

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
