#pragma once

#include "libDrive2/DeviceLockingManager.h"
#include "libDrive2/PartitionTable.h"

namespace libDrive2 {

/// The partitions of the device open at `fd`, by tables of any kind; none where it cannot be read.
std::vector<PartitionStart> listPartitions(int fd);

/// The partition table, partitions and file systems of the device open at `fd`.
zel::Array<VolumeContent> describeContents(int fd);

}  // namespace libDrive2
