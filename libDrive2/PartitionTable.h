#pragma once

#include <cstdint>
#include <functional>
#include <vector>

namespace libDrive2 {

/// The sectors of a device, one by one: what cannot be read of its start must not hide the rest.
struct SectorSource {
    std::uint32_t sectorBytes = 512;
    std::uint64_t sectors = 0;
    /// Fills `data` with the `sectorBytes` bytes of a sector; false when it cannot be read.
    std::function<bool(std::uint64_t lba, std::uint8_t* data)> read;
};

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
