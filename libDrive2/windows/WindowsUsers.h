#pragma once

#include <string>
#include <vector>

#include "libDrive2/windows/VolumeMap.h"

namespace libDrive2 {

/// Who uses a piece of storage, as sentence pieces.
struct StorageUse {
    /// Why it must not be written to, such as "C: (NTFS "System") holds Windows".
    std::vector<std::string> obstacles;
    /// Mounted volumes: as every disk of Windows has some, these are locked rather than refused.
    std::vector<SystemVolume> mounted;
};

/// Looks at the system's tables at the moment of the call.
StorageUse findUse(const WindowsTarget& target, const std::vector<SystemVolume>& volumes);

/// "E: is mounted (NTFS "Data")"
std::string describeMount(const SystemVolume& volume);

}  // namespace libDrive2
