#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace libDrive2 {

/// A block device as /sys shows it.
class SysfsBlock {
public:
    explicit SysfsBlock(dev_t number);
    /// The number of the device whose folder it is; 0 when there is none.
    static dev_t numberIn(const std::filesystem::path& folder);

    /// The kernel's name such as "sda1"; empty when the device is unknown.
    [[nodiscard]] std::string name() const;
    [[nodiscard]] dev_t number() const;
    /// The disk that a partition lies on; itself when it is none.
    [[nodiscard]] SysfsBlock disk() const { return SysfsBlock(diskFolder()); }
    [[nodiscard]] bool isPartition() const;
    [[nodiscard]] bool isRemovable() const;
    /// A SCSI device of type 05h (SPC-4): it is there without a medium, too, and with one that has no sectors
    /// yet.
    [[nodiscard]] bool isOptical() const;
    /// Made by the system rather than driven by it: a loop device, a mapping, an array.
    [[nodiscard]] bool isVirtual() const;
    /// The first line of a file in the device's own folder, such as "dm/uuid"; empty when there is none.
    [[nodiscard]] std::string attribute(const char* name) const;
    /// The same as a number; 0 when it is none.
    [[nodiscard]] std::uint64_t numberAttribute(const char* name) const;
    /// A number from the disk's queue folder; 0 when it cannot be read.
    [[nodiscard]] std::uint64_t queueLimit(const char* name) const;
    /// "sg3" for a SCSI device, else empty.
    [[nodiscard]] std::string scsiGenericName() const;
    /// False when the device is gone or was taken offline.
    [[nodiscard]] bool isUsable() const;
    /// The folder of the device; empty when the device is unknown.
    [[nodiscard]] const std::filesystem::path& folder() const { return m_folder; }
    /// Names of the device itself and of its partitions, with their numbers.
    struct Member {
        std::string name;
        dev_t number;
    };
    [[nodiscard]] std::vector<Member> members() const;
    /// The other ways by which the system reaches the same disk, or the same partition of it: what has its
    /// WWID and its size.
    [[nodiscard]] std::vector<SysfsBlock> otherPaths() const;
    /// The devices that it is built on.
    [[nodiscard]] std::vector<SysfsBlock> slaves() const;
    /// Whether bcache has the member as a cache.
    [[nodiscard]] bool isCache(const Member& member) const;
    /// Names of the devices built on one of the members (dm-0, md1).
    [[nodiscard]] std::vector<std::string> holdersOf(const Member& member) const;

private:
    explicit SysfsBlock(std::filesystem::path folder) : m_folder(std::move(folder)) {}

    [[nodiscard]] std::filesystem::path folderOf(const Member& member) const;
    [[nodiscard]] std::filesystem::path diskFolder() const;
    [[nodiscard]] std::string wwid() const;

    std::filesystem::path m_folder;  ///< empty when the device is unknown
};

/// First line of a small file; empty when it cannot be read.
std::string readLine(const std::filesystem::path& file);

}  // namespace libDrive2
