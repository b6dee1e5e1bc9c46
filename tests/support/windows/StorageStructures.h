#pragma once

#include <string>
#include <vector>

#include "support/windows/PlayedCalls.h"
#include "zel/windows/StorageAnswers.h"

// The structures that storage drivers answer with, as documented.

namespace testing_support {

/// STORAGE_DEVICE_DESCRIPTOR, its texts after one another behind the fields.
PlayedBytes deviceDescriptor(const zel::DeviceDescriptor& told);

/// STORAGE_DEVICE_NUMBER of a whole disk or drive.
PlayedBytes deviceNumber(std::uint32_t type, std::uint32_t number);

/// DISK_GEOMETRY_EX
PlayedBytes diskGeometry(std::uint64_t bytes, std::uint32_t sectorBytes = 512);

struct PlayedExtent {
    std::uint32_t disk = 0;
    std::int64_t start = 0, bytes = 0;
};
/// VOLUME_DISK_EXTENTS
PlayedBytes diskExtents(const std::vector<PlayedExtent>& extents);

struct PlayedPartition {
    std::uint32_t number = 0;
    std::int64_t start = 0, bytes = 0;
    std::uint8_t mbrType = 0;
    GUID gptType{};
};
/// DRIVE_LAYOUT_INFORMATION_EX
PlayedBytes driveLayout(PARTITION_STYLE style, const std::vector<PlayedPartition>& partitions);

struct PlayedIdentifier {
    std::uint32_t codeSet = 1, type = 3, association = 0;
    PlayedBytes bytes{};
};
/// STORAGE_DEVICE_ID_DESCRIPTOR
PlayedBytes deviceIdentifiers(const std::vector<PlayedIdentifier>& identifiers);

/// Of a basic data partition, a member of a pool, and a member of a dynamic disk group.
inline constexpr GUID kBasicData = {
    0xEBD0A0A2, 0xB9E5, 0x4433, {0x87, 0xC0, 0x68, 0xB6, 0xB7, 0x26, 0x99, 0xC7}};
inline constexpr GUID kPoolMember = {
    0xE75CAF8F, 0xF680, 0x4CEE, {0xAF, 0xA3, 0xB0, 0x01, 0xE5, 0x6E, 0xFC, 0x2D}};
inline constexpr GUID kDynamicMember = {
    0xAF9B60A0, 0x1431, 0x4F62, {0xBC, 0x68, 0x33, 0x11, 0x71, 0x4A, 0x69, 0xAD}};

/// Makes a drive answer what every storage device does; its size is that of the content.
void answerAsDrive(PlayedDevice& device, std::uint32_t number, const zel::DeviceDescriptor& told,
                   std::uint32_t type = zel::DeviceNumber::kDiskType);

/// What a driver answers to IOCTL_STORAGE_QUERY_PROPERTY, by property.
void answerProperties(PlayedDevice& device, std::map<std::uint32_t, PlayedBytes> properties);

}  // namespace testing_support
