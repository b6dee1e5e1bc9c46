#pragma once

#include <array>
#include <cstdint>

#include "libDrive2/sim/SimMedium.h"

namespace libDrive2 {

using NVMeIdentifyData = std::array<std::uint8_t, 4096>;
using NVMeSmartLog = std::array<std::uint8_t, 512>;
using NVMeSelfTestLog = std::array<std::uint8_t, 564>;

// NVM Express 1.4: what a controller tells of itself, of its namespace, and of its health.
NVMeIdentifyData nvmeControllerData(const SimMedium& medium);
NVMeIdentifyData nvmeNamespaceData(const SimMedium& medium);
NVMeSmartLog nvmeSmartLog(const SimMedium& medium);
NVMeSelfTestLog nvmeSelfTestLog(SimMedium& medium);

}  // namespace libDrive2
