#include "zel/windows/StorageAnswers.h"

#include <algorithm>
#include <bit>
#include <cctype>
#include <vector>

namespace zel {

namespace {

constexpr std::size_t kRawPropertiesAt = 36;
constexpr std::size_t kEncodedSerialDigits = 40;  ///< of the twenty characters of an ATA serial number
constexpr std::size_t kGeometryBytes = 24;        ///< DISK_GEOMETRY
constexpr std::size_t kMediaTypeAt = 8, kSectorBytesAt = 20;
constexpr std::uint32_t kSmallestSector = 128;  ///< of the oldest floppies
constexpr std::uint32_t kLargestSector = 1U << 20;
constexpr std::size_t kScsiAddressBytes = 8;

bool isPrintable(std::uint8_t byte) {
    return byte >= ' ' && byte <= '~';
}

/// The text that begins at an offset which the descriptor states, up to a zero or its end.
std::string textAt(Bytes answer, std::size_t field) {
    const auto at = loadLittleEndian<std::uint32_t>(answer, field);
    if (at < kRawPropertiesAt || at >= answer.size())
        return {};
    const Bytes rest = answer.subspan(at);
    return textOf(Bytes(rest.begin(), std::find(rest.begin(), rest.end(), std::uint8_t{0})));
}

bool isHexadecimal(const std::string& text) {
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; });
}

/// Drivers of parallel ATA give the identify data's words as they lie in memory, as digits.
std::string decodedSerial(const std::string& serial) {
    if (serial.size() != kEncodedSerialDigits || !isHexadecimal(serial))
        return serial;
    std::vector<std::uint8_t> text;
    for (std::size_t i = 0; i < serial.size(); i += 2)
        text.push_back(static_cast<std::uint8_t>(std::stoi(serial.substr(i, 2), nullptr, 16)));
    if (!std::all_of(text.begin(), text.end(), isPrintable))
        return serial;
    for (std::size_t i = 0; i < text.size(); i += 2)
        std::swap(text[i], text[i + 1]);
    return textOf(text);
}

// MEDIA_TYPE: all others are formats of floppies.
constexpr std::uint32_t kUnknownMedium = 0, kRemovableMedium = 11, kFixedMedium = 12, kLastMedium = 25;

bool isRemovable(std::uint32_t mediaType) {
    return mediaType != kUnknownMedium && mediaType != kFixedMedium;
}

bool isFloppy(std::uint32_t mediaType) {
    return isRemovable(mediaType) && mediaType != kRemovableMedium && mediaType <= kLastMedium;
}

}  // namespace

std::optional<DeviceDescriptor> parseDeviceDescriptor(Bytes answer) {
    const std::size_t stated = loadLittleEndian<std::uint32_t>(answer, 4);
    if (answer.size() < kRawPropertiesAt || stated < kRawPropertiesAt)
        return std::nullopt;
    const Bytes all = answer.first(std::min(answer.size(), stated));
    DeviceDescriptor found;
    found.deviceType = all[8] & 0x1F;
    found.isRemovable = all[10] != 0;
    found.bus = static_cast<StorageBus>(loadLittleEndian<std::uint32_t>(all, 28));
    found.vendor = textAt(all, 12);
    found.product = textAt(all, 16);
    found.revision = textAt(all, 20);
    found.serial = decodedSerial(textAt(all, 24));
    return found;
}

std::optional<DeviceDescriptor> parseInquiry(Bytes answer) {
    constexpr std::size_t kStandardBytes = 36;
    constexpr std::size_t kTypesAt = 5;  // above it, whether a drive is there
    if (answer.size() < kStandardBytes || answer[0] >> kTypesAt != 0)
        return std::nullopt;
    DeviceDescriptor found;
    found.deviceType = answer[0] & 0x1F;
    found.isRemovable = (answer[1] & 0x80) != 0;
    found.bus = StorageBus::scsi;
    found.vendor = textOf(answer.subspan(8, 8));
    found.product = textOf(answer.subspan(16, 16));
    found.revision = textOf(answer.subspan(32, 4));
    return found;
}

std::optional<DeviceNumber> parseDeviceNumber(Bytes answer) {
    if (answer.size() < sizeof(std::uint32_t) * 3)
        return std::nullopt;
    return DeviceNumber{loadLittleEndian<std::uint32_t>(answer, 0),
                        loadLittleEndian<std::uint32_t>(answer, 4),
                        loadLittleEndian<std::uint32_t>(answer, 8)};
}

std::optional<DiskGeometry> parseDiskGeometry(Bytes answer) {
    const auto sectorBytes = loadLittleEndian<std::uint32_t>(answer, kSectorBytesAt);
    if (answer.size() < kGeometryBytes || !std::has_single_bit(sectorBytes) ||
        sectorBytes < kSmallestSector || sectorBytes > kLargestSector)
        return std::nullopt;
    DiskGeometry geometry{sectorBytes, std::nullopt,
                          isRemovable(loadLittleEndian<std::uint32_t>(answer, kMediaTypeAt))};
    const auto bytes = loadLittleEndian<std::uint64_t>(answer, kGeometryBytes);
    if (answer.size() >= kGeometryBytes + sizeof bytes && bytes >> 63 == 0)
        geometry.bytes = bytes;
    return geometry;
}

bool namesFloppyMedium(Bytes answer) {
    for (std::size_t at = 0; at + kGeometryBytes <= answer.size(); at += kGeometryBytes)
        if (isFloppy(loadLittleEndian<std::uint32_t>(answer, at + kMediaTypeAt)))
            return true;
    return false;
}

std::string parseScsiAddress(Bytes answer) {
    if (answer.size() < kScsiAddressBytes || loadLittleEndian<std::uint32_t>(answer, 0) < kScsiAddressBytes)
        return {};
    return "port " + std::to_string(answer[4]) + ", bus " + std::to_string(answer[5]) + ", target " +
           std::to_string(answer[6]) + ", unit " + std::to_string(answer[7]);
}

}  // namespace zel
