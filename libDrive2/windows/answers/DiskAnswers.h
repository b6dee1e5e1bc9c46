#pragma once

#include <cstdint>
#include <optional>

#include "libDrive2/commands/Bytes.h"

/// What Windows' disk and class drivers answer, from the bytes that they returned: structures as documented,
/// little-endian, each field at the place that it has on 64-bit Windows. Nothing for answers that are too
/// short or make no sense.
namespace libDrive2::windows {

/// GET_LENGTH_INFORMATION: the device's bytes.
std::optional<std::uint64_t> parseLength(Bytes answer);

struct DiskGeometry {
    std::uint32_t sectorBytes = 0;  ///< a power of two from 128 to 1 MiB
    std::uint64_t bytes = 0;        ///< 0 where the answer has no room for it
    bool removable = false;         ///< a removable medium, or a floppy
};
/// DISK_GEOMETRY_EX, or the DISK_GEOMETRY that it begins with.
std::optional<DiskGeometry> parseGeometry(Bytes answer);

/// STORAGE_ACCESS_ALIGNMENT_DESCRIPTOR: bytes of a physical sector, a multiple of the logical one's.
std::optional<std::uint32_t> parsePhysicalSector(Bytes answer, std::uint32_t logicalSectorBytes);

/// STORAGE_HOTPLUG_INFO: whether the medium can be taken out.
std::optional<bool> parseMediumRemovable(Bytes answer);

/// STORAGE_TEMPERATURE_DATA_DESCRIPTOR: degrees Celsius of its first sensor that reports.
std::optional<double> parseTemperature(Bytes answer);

/// STORAGE_DEVICE_NUMBER.
struct DeviceNumber {
    std::uint32_t type = 0;       ///< FILE_DEVICE_DISK (7), FILE_DEVICE_CD_ROM (2), …
    std::uint32_t number = 0;     ///< as in "PhysicalDrive1"
    std::uint32_t partition = 0;  ///< 0 the whole device
    [[nodiscard]] bool isOptical() const { return type == 0x02 || type == 0x33; }
    /// A drive without partitions has all bits set.
    [[nodiscard]] bool isPartition() const {
        return !isOptical() && partition != 0 && partition != 0xFFFFFFFF;
    }
};
std::optional<DeviceNumber> parseDeviceNumber(Bytes answer);

}  // namespace libDrive2::windows
