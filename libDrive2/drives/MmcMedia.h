#pragma once

#include <cstdint>
#include <span>

#include "libDrive2/MmcTypes.h"

namespace libDrive2::mmc {

/// What a profile says of its media.
struct MediaKind {
    std::uint32_t capabilities = 0;  ///< MediaCapability flags; 0 no media, or unknown ones
    bool isWriteOnce = false;
    double kilobytesPerSecond = 0;  ///< 1x, 1 KB = 1000 bytes, as drives state speeds
};
MediaKind mediaKind(std::uint16_t profile);

/// At most so many sectors lie between what two sessions hold: lead-out and lead-in, or border zones.
std::uint64_t sectorsBetweenSessions(std::uint16_t profile);

/// The types of FORMAT UNIT that format the whole of such media, the preferred one first.
std::span<const std::uint8_t> formatTypes(std::uint16_t profile);

}  // namespace libDrive2::mmc
