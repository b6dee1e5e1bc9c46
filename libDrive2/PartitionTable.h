#pragma once

#include <vector>

#include "libDrive2/SectorSource.h"

namespace libDrive2 {

/// Where a partition begins, in bytes, and its number in the table.
struct PartitionStart {
    int number;
    std::uint64_t offset;
};

/// The partitions of a device's MBR and GPT, as far as they can be read.
struct PartitionTable {
    std::vector<PartitionStart> partitions;
    bool complete = true;  ///< false when sectors that tell of more cannot be read
};
PartitionTable readPartitionTable(const SectorSource& device);

}  // namespace libDrive2
