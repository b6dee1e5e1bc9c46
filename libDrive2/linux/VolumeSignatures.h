#pragma once

#include "libDrive2/DeviceLockingManager.h"
#include "zel/String.h"

namespace libDrive2 {

/// Whether the device open at `fd`, or a partition in its partition table, holds an encrypted volume;
/// `reason` then names it. A device whose start cannot be read counts as encrypted.
bool holdsEncryptedVolume(int fd, const zel::String& path, zel::String& reason);

/// The partition table, partitions and file systems of the device open at `fd`.
zel::Array<VolumeContent> describeContents(int fd);

}  // namespace libDrive2
