#pragma once

#include <cstdint>
#include <functional>

namespace libDrive2 {

/// The sectors of a device, one by one: what cannot be read of its start must not hide the rest.
struct SectorSource {
    std::uint32_t sectorBytes = 512;
    std::uint64_t sectors = 0;
    /// Fills `data` with the `sectorBytes` bytes of a sector; false when it cannot be read.
    std::function<bool(std::uint64_t lba, std::uint8_t* data)> read;
};

}  // namespace libDrive2
