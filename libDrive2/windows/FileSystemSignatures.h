#pragma once

#include <cstdint>
#include <string>

#include "libDrive2/PartitionTable.h"

namespace libDrive2 {

/// The kind of file system, or of anything else that volumes hold, which begins at a byte of a device, such
/// as "ntfs" or "ext4"; empty when nothing is recognised or the sectors cannot be read. For what the system
/// itself does not know.
std::string findFileSystem(const SectorSource& device, std::uint64_t offset);

}  // namespace libDrive2
