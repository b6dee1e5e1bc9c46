#pragma once

#include <array>
#include <cstdint>

#include "libDrive2/sim/SimMedium.h"

namespace libDrive2 {

using AtaSector = std::array<std::uint8_t, 512>;

/// ACS-4, IDENTIFY DEVICE data.
AtaSector ataIdentifyData(const SimMedium& medium);

}  // namespace libDrive2
