#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace libDrive2 {

/// A block device as /sys shows it.
class SysfsBlock {
public:
    explicit SysfsBlock(dev_t number);

    /// The kernel's name such as "sda1"; empty when the device is unknown.
    [[nodiscard]] std::string name() const;
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
    [[nodiscard]] std::uint64_t number(const char* name) const;
    /// A number from the disk's queue folder; 0 when it cannot be read.
    [[nodiscard]] std::uint64_t queueLimit(const char* name) const;
    /// "sg3" for a SCSI device, else empty.
    [[nodiscard]] std::string scsiGenericName() const;
    /// False when the device is gone or was taken offline.
    [[nodiscard]] bool isUsable() const;
    /// The disk that a partition is on; 0 for others.
    [[nodiscard]] dev_t parent() const;
    /// The devices right below a mapping or an array.
    [[nodiscard]] std::vector<dev_t> slaves() const;
    /// The folder of the device, and of the disk that a partition is on; empty when the device is unknown.
    [[nodiscard]] const std::filesystem::path& folder() const { return m_folder; }
    /// Names of the device itself and of its partitions, with their numbers.
    struct Member {
        std::string name;
        dev_t number;
    };
    [[nodiscard]] std::vector<Member> members() const;
    /// Names of the devices built on one of the members (dm-0, md1).
    [[nodiscard]] std::vector<std::string> holdersOf(const Member& member) const;

private:
    [[nodiscard]] std::filesystem::path diskFolder() const;

    std::filesystem::path m_folder;  ///< empty when the device is unknown
};

/// First line of a small file; empty when it cannot be read.
std::string readLine(const std::filesystem::path& file);
/// The number of the device whose folder in /sys this is; 0 when it cannot be read.
dev_t deviceNumberIn(const std::filesystem::path& folder);

}  // namespace libDrive2
