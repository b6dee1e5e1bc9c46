#pragma once

#include "libDrive2/DeviceLockingManager.h"
#include "libDrive2/PartitionTable.h"

namespace libDrive2 {

/// Whether the device, or a partition of it, begins with the signature of an encrypted volume; `reason` then
/// names it, or says what could not be read. `alsoKnown` are partitions that its own tables do not tell of.
/// Only sectors that can hold a signature, or tell where one can be, are read.
Encryption findEncryptedVolume(const SectorSource& device, const zel::String& path,
                               const std::vector<PartitionStart>& alsoKnown, zel::Wording& reason);

}  // namespace libDrive2
