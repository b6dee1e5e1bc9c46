#pragma once

#include <vector>

#include "quix5/DiagDevice.h"
#include "zel/Export.h"

namespace quix5 {

/// Properties that the inventory gives to the devices it finds; absent where the device does not tell.
inline constexpr const char* kPropertyVendor = "Vendor";
inline constexpr const char* kPropertyModel = "Model";
inline constexpr const char* kPropertySerial = "Serial";
inline constexpr const char* kPropertyFirmware = "Firmware";
inline constexpr const char* kPropertyBytes = "Bytes";            ///< UINT64
inline constexpr const char* kPropertySectorSize = "SectorSize";  ///< UINT32
inline constexpr const char* kPropertyRotational = "Rotational";  ///< BOOLEAN: it has disks that turn
inline constexpr const char* kPropertyVirtual = "Virtual";        ///< BOOLEAN: of files, memory, other drives

/// The drives of this machine as the operating system lists them, without opening any. May block on a slow
/// device for as long as the system does.
DRIVETEST_API std::vector<DiagDevice> listDevices();

/// The listed drive that a path names, also through links such as those in /dev/disk/by-id; for any other
/// path (a partition, a mapping, an image file, one that does not exist) a device with nothing but its
/// locator and the capability HardDrive.
DRIVETEST_API DiagDevice findDevice(const zel::String& locator);

}  // namespace quix5
