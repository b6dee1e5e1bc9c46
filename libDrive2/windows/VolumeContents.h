#pragma once

#include <vector>

#include "libDrive2/BlockHandle.h"
#include "libDrive2/DeviceLockingManager.h"
#include "libDrive2/PartitionTable.h"
#include "libDrive2/windows/VolumeMap.h"

namespace libDrive2 {

/// A device's sectors, or those of a stretch of it that begins at a byte.
SectorSource sectorsOf(BlockHandle& device);
SectorSource sectorsOf(BlockHandle& device, const DiskExtent& stretch);

/// The partitions of a disk that the system tells of; none of anything else.
std::vector<PartitionStart> listPartitions(const WindowsTarget& target);

/// The partition table, partitions and file systems: by the system's words where it knows them, else by what
/// the sectors hold. `device` may be null: then only what the system knows.
zel::Array<VolumeContent> describeContents(const WindowsTarget& target,
                                           const std::vector<SystemVolume>& volumes, BlockHandle* device);

}  // namespace libDrive2
