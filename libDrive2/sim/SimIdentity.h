#pragma once

#include <cstdint>
#include <string>

#include "libDrive2/sim/SimMedium.h"
#include "libDrive2/sim/optical/OpticalDrive.h"
#include "quix5/DiagDevice.h"

namespace libDrive2 {

/// What a simulated drive says it is, whichever command asks.
struct SimIdentity {
    quix5::DeviceCapability capabilities;
    std::string model;
    std::string serial;
    std::string firmware;
    std::uint64_t bytes = 0;  ///< 0 without a medium
    std::uint32_t sectorBytes = 0;
    bool securitySupported = false;
    bool securityEnabled = false;
    bool securityLocked = false;
};

/// The vendor in SCSI answers; models begin with it.
inline constexpr const char* kSimVendor = "DriveTst";

SimIdentity identify(const SimMedium& medium);
SimIdentity identify(const OpticalDrive& drive);

}  // namespace libDrive2
