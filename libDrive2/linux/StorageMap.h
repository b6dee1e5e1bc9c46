#pragma once

#include <sys/stat.h>

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "libDrive2/DriveIdentity.h"
#include "libDrive2/linux/LoopTable.h"
#include "libDrive2/linux/SysfsBlock.h"

namespace libDrive2 {

/// What a device or a file is stored on, all the way down: partitions, disks, members of mappings and arrays,
/// files behind loop devices and what these in turn are stored on.
class StorageMap {
public:
    struct View {
        StorageId id{};                         ///< see DriveIdentity
        std::vector<StorageExtent> storage{};   ///< see DriveIdentity
        std::vector<StorageExtent> carriers{};  ///< see DriveIdentity
        /// Lost with the power: something below lies in memory, or gives up its writes for speed. False too
        /// where that cannot be seen.
        bool isVolatile = false;
    };

    /// Of a block device, a file or a folder; `path` may lead to it, and tells more where it does.
    View of(const struct stat& found, const std::string& path);
    /// What could not be followed; empty when nothing.
    [[nodiscard]] const std::string& problem() const { return m_problem; }

private:
    View ofDevice(dev_t number);
    View ofPartition(const SysfsBlock& device);
    View ofLoop(const LoopBacking& backing);
    View ofMapping(const SysfsBlock& device, dev_t number);
    View ofArray(const SysfsBlock& device, dev_t number);
    View ofDisk(const SysfsBlock& device, dev_t number);
    View ofFile(dev_t fileSystem, ino_t inode, const std::string& path);
    View overMembers(const StorageId& id, const SysfsBlock& device, dev_t number);
    void addCarrier(View& view, dev_t number);
    void addFileSystem(View& view, dev_t fileSystem, const std::filesystem::path& path);
    void addMountSource(View& view, dev_t fileSystem, const std::filesystem::path& path);
    void addBtrfsMembers(View& view, const std::string& name);
    void note(const std::string& problem);

    std::set<dev_t> m_entered;  ///< file systems, against circles
    int m_depth = 0;
    std::string m_problem;
};

/// The path itself, or the nearest folder above it that exists.
std::filesystem::path nearestExisting(const std::filesystem::path& path);

}  // namespace libDrive2
