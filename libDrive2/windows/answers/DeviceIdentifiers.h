#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "libDrive2/commands/Bytes.h"

namespace libDrive2 {

/// A STORAGE_IDENTIFIER, which is a designator of SPC-4's page 83h.
struct DeviceIdentifier {
    enum class Type : std::uint32_t { vendorSpecific = 0, vendorId = 1, eui64 = 2, naa = 3, nameString = 8 };

    std::uint32_t codeSet = 0;  ///< 1 binary, 2 ASCII, 3 UTF-8
    Type type = Type::vendorSpecific;
    std::vector<std::uint8_t> bytes{};
};

/// Those of a STORAGE_DEVICE_ID_DESCRIPTOR that name the device itself, and not a port or a target.
std::vector<DeviceIdentifier> parseDeviceIdentifiers(Bytes answer);

/// The strongest name among them, as "naa.5000c500a1b2c3d4", "eui.0025385b21404e31" or "t10.VENDOR MODEL";
/// empty without one that the whole world knows the device by.
std::string worldWideName(const std::vector<DeviceIdentifier>& identifiers);

/// The name that the system's NVMe driver gives as a serial number: "0025_385B_2140_4E31." is the namespace's
/// EUI-64, twice as long its NGUID. Empty for any other text.
std::string worldWideNameInSerial(const std::string& serial);

}  // namespace libDrive2
