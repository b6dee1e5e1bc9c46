#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "zel/Bytes.h"
#include "zel/Export.h"

// What Windows' storage drivers answer, read from the bytes as they came: drivers answer short, too long and
// inconsistently. Offsets are those of the structures on 64-bit Windows. No system header is needed.

namespace zel {

/// STORAGE_BUS_TYPE; a driver may name others.
enum class StorageBus : std::uint32_t {
    unknown = 0x0,
    scsi = 0x1,
    atapi = 0x2,
    ata = 0x3,
    firewire = 0x4,
    ssa = 0x5,
    fibre = 0x6,
    usb = 0x7,
    raid = 0x8,
    iscsi = 0x9,
    sas = 0xA,
    sata = 0xB,
    sd = 0xC,
    mmc = 0xD,
    virtualDisk = 0xE,
    fileBacked = 0xF,
    spaces = 0x10,
    nvme = 0x11,
    scm = 0x12,
    ufs = 0x13,
};

/// Peripheral device types of SCSI that drivers name.
inline constexpr std::uint8_t kTypeOptical = 0x05;
inline constexpr std::uint8_t kTypeZoned = 0x14;

/// STORAGE_DEVICE_DESCRIPTOR. Texts are printable and without blanks at their ends.
struct DeviceDescriptor {
    std::uint8_t deviceType = 0;  ///< the peripheral device type
    bool isRemovable = false;     ///< its medium can come and go
    StorageBus bus = StorageBus::unknown;
    std::string vendor{}, product{}, revision{};
    /// As on the drive's label: where a driver gives it as hexadecimal digits of swapped bytes, it is turned.
    std::string serial{};
};
DRIVETEST_API std::optional<DeviceDescriptor> parseDeviceDescriptor(Bytes answer);

/// The same from a drive's own answer to the SCSI command INQUIRY, which tells neither bus nor serial number.
/// Nothing where no drive is at that address.
DRIVETEST_API std::optional<DeviceDescriptor> parseInquiry(Bytes answer);

/// STORAGE_DEVICE_NUMBER.
struct DeviceNumber {
    static constexpr std::uint32_t kOpticalType = 0x02;  ///< FILE_DEVICE_CD_ROM
    static constexpr std::uint32_t kDiskType = 0x07;     ///< FILE_DEVICE_DISK
    static constexpr std::uint32_t kDvdType = 0x33;      ///< FILE_DEVICE_DVD

    std::uint32_t type = 0;
    std::uint32_t number = 0;     ///< as in "PhysicalDrive1"
    std::uint32_t partition = 0;  ///< 0 the whole device

    [[nodiscard]] bool isOptical() const { return type == kOpticalType || type == kDvdType; }
    /// A drive without partitions has all bits set.
    [[nodiscard]] bool isPartition() const {
        return !isOptical() && partition != 0 && partition != 0xFFFFFFFF;
    }
    bool operator==(const DeviceNumber&) const = default;
};
DRIVETEST_API std::optional<DeviceNumber> parseDeviceNumber(Bytes answer);

/// DISK_GEOMETRY_EX, or the DISK_GEOMETRY that it begins with.
struct DiskGeometry {
    std::uint32_t sectorBytes = 0;         ///< a power of two from 128 to 1 MiB
    std::optional<std::uint64_t> bytes{};  ///< nothing where the answer has no room for it, or it is no size
    bool isRemovable = false;              ///< a removable medium, or a floppy
};
/// Nothing for sectors that no disk has.
DRIVETEST_API std::optional<DiskGeometry> parseDiskGeometry(Bytes answer);

/// Whether an array of DISK_GEOMETRY, as answered for the media types of a drive, names a floppy disk.
DRIVETEST_API bool namesFloppyMedium(Bytes answer);

/// SCSI_ADDRESS as "port 1, bus 0, target 2, unit 0"; empty where it is none.
DRIVETEST_API std::string parseScsiAddress(Bytes answer);

}  // namespace zel
