#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "libDrive2/DriveTypes.h"

namespace libDrive2 {

/// Cuts a transfer into commands of at most `maxSectors`: calls `command(lba, count, byteOffset)` for each in
/// ascending order until one fails.
template <class Command>
_LIBDRIVE2_ERROR_TYPES transferInPieces(std::uint64_t lba, std::uint32_t count, std::uint32_t sectorBytes,
                                        std::uint32_t maxSectors, Command command) {
    for (std::uint32_t done = 0; done < count;) {
        const std::uint32_t piece = std::min(maxSectors, count - done);
        const _LIBDRIVE2_ERROR_TYPES error = command(lba + done, piece, std::size_t{done} * sectorBytes);
        if (error != LIBDRIVE2_NO_ERROR)
            return error;
        done += piece;
    }
    return LIBDRIVE2_NO_ERROR;
}

/// Whole sectors in so many bytes, at least one and at most `limit`.
inline std::uint32_t wholeSectors(std::uint64_t bytes, std::uint32_t sectorBytes, std::uint32_t limit) {
    const std::uint64_t sectors = sectorBytes != 0 ? bytes / sectorBytes : 1;
    return static_cast<std::uint32_t>(std::clamp<std::uint64_t>(sectors, 1, std::max(1U, limit)));
}

}  // namespace libDrive2
