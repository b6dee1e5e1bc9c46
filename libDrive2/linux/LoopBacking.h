#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>

namespace libDrive2 {

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

}  // namespace libDrive2
