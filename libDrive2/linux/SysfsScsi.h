#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "libDrive2/linux/SysfsBlock.h"

namespace libDrive2 {

/// A SCSI device as /sys shows it, by its generic node (/dev/sgN).
class SysfsScsi {
public:
    /// Of the generic node's number; one that is none gives an unknown device.
    explicit SysfsScsi(dev_t number);
    /// The device of a block device; unknown when that is no SCSI device.
    static SysfsScsi of(const SysfsBlock& block);
    /// All that are hidden.
    static std::vector<SysfsScsi> listHidden();

    [[nodiscard]] bool exists() const { return !m_folder.empty(); }
    /// "sg3"; empty when the device is unknown, or has no such node.
    [[nodiscard]] std::string name() const;
    /// Its block device; unknown when there is none.
    [[nodiscard]] SysfsBlock block() const;
    /// Peripheral device types 00h and 0Eh of SPC-4.
    [[nodiscard]] bool isDisk() const;
    /// A disk that the system has no block interface for, or one without sectors, though no medium is
    /// missing: only commands reach it.
    [[nodiscard]] bool isHidden() const;
    /// False when the device is gone or was taken offline.
    [[nodiscard]] bool isUsable() const;
    /// The first line of a file in the device's folder, such as "wwid"; empty when there is none.
    [[nodiscard]] std::string attribute(const char* name) const;
    /// Folder of the device, whose name is its address (host:channel:target:unit).
    [[nodiscard]] const std::filesystem::path& folder() const { return m_folder; }
    /// The other ways by which the system reaches the same drive: what has its WWID.
    [[nodiscard]] std::vector<SysfsScsi> otherPaths() const;

private:
    explicit SysfsScsi(std::filesystem::path folder) : m_folder(std::move(folder)) {}
    static std::vector<SysfsScsi> listAll();

    std::filesystem::path m_folder;  ///< empty when the device is unknown
};

}  // namespace libDrive2
