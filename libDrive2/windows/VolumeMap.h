#pragma once

#include <optional>
#include <string>
#include <vector>

#include "libDrive2/windows/WindowsTarget.h"

namespace libDrive2 {

/// A volume that the system has, mounted or not.
struct SystemVolume {
    std::wstring name;                      ///< "\\?\Volume{…}\"
    std::vector<std::wstring> mountPoints;  ///< "C:\", "D:\data\"
    std::vector<DiskExtent> extents;        ///< none of an optical drive's or a floppy's
    std::optional<zel::DeviceNumber> number;

    /// What opens the volume itself rather than its root folder.
    [[nodiscard]] std::wstring devicePath() const;
    /// For people: its first mount point such as "C:", else its name.
    [[nodiscard]] std::string title() const;
    [[nodiscard]] bool liesOn(const WindowsTarget& target) const;
};

/// File system and label, as NTFS "Data"; empty where there is none that the system knows, or it is locked.
std::string describeFileSystem(const SystemVolume& volume);

/// All volumes of the machine, at the moment. Nothing, with GetLastError(), when the system does not list
/// them to the end.
std::optional<std::vector<SystemVolume>> listVolumes();

}  // namespace libDrive2
