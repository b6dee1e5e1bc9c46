#pragma once

#include "libDrive2/commands/Bytes.h"

namespace libDrive2 {

/// Whether a STORAGE_ZONED_DEVICE_DESCRIPTOR tells of a drive that takes writes in the order of its zones
/// only.
inline bool isHostManaged(Bytes answer) {
    constexpr std::uint32_t kHostManaged = 1;
    return loadLittleEndian<std::uint32_t>(answer, 4) > 8 &&
           loadLittleEndian<std::uint32_t>(answer, 8) == kHostManaged;
}

}  // namespace libDrive2
