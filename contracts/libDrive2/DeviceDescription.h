#pragma once

#include <cstdint>

#include "quix5/DiagDevice.h"
#include "zel/String.h"

namespace libDrive2 {

/// What a simulated drive says of itself.
struct SimulatedDevice {
    quix5::DeviceCapability capabilities;
    zel::String model, serial, firmware;  ///< the serial number is empty unless the locator gives one
    std::uint64_t bytes = 0;              ///< 0 without a medium
    std::uint32_t sectorBytes = 0;
};

/// False when the locator describes no drive; `error` then says why.
bool describeSimulatedDevice(const zel::String& locator, SimulatedDevice& description, zel::String& error);

/// The security feature set of an ATA drive (ACS-4, IDENTIFY DEVICE word 128).
struct AtaSecurity {
    bool supported = false;
    bool passwordSet = false;
    bool locked = false;
};

/// Asks the device; false when it is no ATA device or does not answer. Blocks until it has.
bool readAtaSecurity(const quix5::DiagDevice& device, AtaSecurity& security);

}  // namespace libDrive2
