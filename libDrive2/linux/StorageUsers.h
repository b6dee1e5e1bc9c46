#pragma once

#include <sys/stat.h>

#include <set>
#include <string>
#include <vector>

#include "libDrive2/linux/LoopTable.h"
#include "libDrive2/linux/MountTable.h"
#include "libDrive2/linux/SysfsBlock.h"
#include "libDrive2/linux/SysfsScsi.h"

namespace libDrive2 {

/// Who uses a piece of storage, by whatever name: the device, its partitions, the disk of a partition, other
/// paths to the same disk, what is built on them, and what shares the file behind a loop device.
class StorageUsers {
public:
    /// Looks at the system's tables once.
    StorageUsers();

    /// Sentence pieces such as "sdb1 is mounted on /mnt". `name` is what an image file is called.
    std::vector<std::string> of(const struct stat& found, const std::string& name);

private:
    /// A mounted btrfs of one or more devices.
    struct BtrfsVolume {
        std::set<dev_t> members;
        std::string folder;  ///< empty when it is mounted where the program cannot see it
    };

    void readSwaps();
    void readBtrfsVolumes();

    void addDevice(const SysfsBlock& device, const std::string& note);
    void addFile(const StorageNode& file, const std::string& subject);
    void addBeneath(const SysfsBlock& device, int depth);
    void add(const std::string& subject, const std::string& use);

    /// What is done with one device, as "is mounted on /mnt".
    [[nodiscard]] std::vector<std::string> usesOf(const SysfsBlock& owner, const SysfsBlock::Member& member,
                                                  int depth) const;
    void findMounts(dev_t number, std::vector<std::string>& uses) const;
    void findLoops(const StorageNode& backing, int depth, std::vector<std::string>& uses) const;
    [[nodiscard]] std::string describe(const std::string& path, const std::string& name, int depth) const;

    std::vector<Mount> m_mounts;
    std::vector<AttachedLoop> m_loops;
    std::vector<StorageNode> m_swaps;
    std::vector<BtrfsVolume> m_btrfs;
    std::set<dev_t> m_own;  ///< loop devices through which the storage itself is reached
    std::vector<std::string> m_users;
};

}  // namespace libDrive2
