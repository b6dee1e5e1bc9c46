#include "zel/windows/StorageAnswers.h"

#include <algorithm>
#include <bit>
#include <cctype>

namespace zel {

namespace {

constexpr std::size_t kRawPropertiesAt = 36;
constexpr std::size_t kEncodedSerialDigits = 40;  ///< of the twenty characters of an ATA serial number
constexpr std::size_t kGeometryBytes = 24;        ///< DISK_GEOMETRY
constexpr std::size_t kScsiAddressBytes = 8;

bool isPrintable(char c) {
    return c >= ' ' && c <= '~';
}

std::string trimmed(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](char c) { return !isPrintable(c); }, ' ');
    const auto first = text.find_first_not_of(' ');
    const auto last = text.find_last_not_of(' ');
    return first == std::string::npos ? std::string() : text.substr(first, last - first + 1);
}

/// The text that begins at an offset which the descriptor states, up to a zero or its end.
std::string textAt(AnswerBytes answer, std::size_t field) {
    const auto at = littleEndianAt<std::uint32_t>(answer, field);
    if (at < kRawPropertiesAt || at >= answer.size())
        return {};
    const AnswerBytes rest = answer.subspan(at);
    return trimmed(std::string(rest.begin(), std::find(rest.begin(), rest.end(), std::uint8_t{0})));
}

bool isHexadecimal(const std::string& text) {
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; });
}

/// Drivers of parallel ATA give the identify data's words as they lie in memory, as digits.
std::string decodedSerial(const std::string& serial) {
    if (serial.size() != kEncodedSerialDigits || !isHexadecimal(serial))
        return serial;
    std::string text;
    for (std::size_t i = 0; i < serial.size(); i += 2)
        text += static_cast<char>(std::stoi(serial.substr(i, 2), nullptr, 16));
    if (!std::all_of(text.begin(), text.end(), isPrintable))
        return serial;
    for (std::size_t i = 0; i < text.size(); i += 2)
        std::swap(text[i], text[i + 1]);
    return trimmed(text);
}

/// MEDIA_TYPE: all but those of fixed and removable disks, and of an unknown medium.
bool isFloppy(std::uint32_t mediaType) {
    constexpr std::uint32_t kUnknown = 0, kRemovable = 11, kFixed = 12, kLast = 25;
    return mediaType != kUnknown && mediaType != kRemovable && mediaType != kFixed && mediaType <= kLast;
}

}  // namespace

std::optional<DeviceDescriptor> parseDeviceDescriptor(AnswerBytes answer) {
    const std::size_t stated = littleEndianAt<std::uint32_t>(answer, 4);
    if (answer.size() < kRawPropertiesAt || stated < kRawPropertiesAt)
        return std::nullopt;
    const AnswerBytes all = answer.first(std::min(answer.size(), stated));
    DeviceDescriptor found;
    found.deviceType = all[8] & 0x1F;
    found.isRemovable = all[10] != 0;
    found.bus = static_cast<StorageBus>(littleEndianAt<std::uint32_t>(all, 28));
    found.vendor = textAt(all, 12);
    found.product = textAt(all, 16);
    found.revision = textAt(all, 20);
    found.serial = decodedSerial(textAt(all, 24));
    return found;
}

std::optional<DeviceDescriptor> parseInquiry(AnswerBytes answer) {
    constexpr std::size_t kStandardBytes = 36;
    constexpr std::size_t kTypesAt = 5;  // above it, whether a drive is there
    if (answer.size() < kStandardBytes || answer[0] >> kTypesAt != 0)
        return std::nullopt;
    const auto text = [answer](std::size_t at, std::size_t bytes) {
        const AnswerBytes field = answer.subspan(at, bytes);
        return trimmed(std::string(field.begin(), field.end()));
    };
    DeviceDescriptor found;
    found.deviceType = answer[0] & 0x1F;
    found.isRemovable = (answer[1] & 0x80) != 0;
    found.bus = StorageBus::scsi;
    found.vendor = text(8, 8);
    found.product = text(16, 16);
    found.revision = text(32, 4);
    return found;
}

std::optional<DeviceNumber> parseDeviceNumber(AnswerBytes answer) {
    if (answer.size() < sizeof(std::uint32_t) * 3)
        return std::nullopt;
    return DeviceNumber{littleEndianAt<std::uint32_t>(answer, 0), littleEndianAt<std::uint32_t>(answer, 4),
                        littleEndianAt<std::uint32_t>(answer, 8)};
}

std::optional<DiskGeometry> parseDiskGeometry(AnswerBytes answer) {
    constexpr std::uint32_t kLargestSector = 1U << 20;
    const auto sectorBytes = littleEndianAt<std::uint32_t>(answer, 20);
    const bool isPossible = std::has_single_bit(sectorBytes) && sectorBytes <= kLargestSector;
    const auto bytes = littleEndianAt<std::uint64_t>(answer, 24);
    if (answer.size() < kGeometryBytes + sizeof bytes || !isPossible || bytes >> 63 != 0)
        return std::nullopt;
    return DiskGeometry{bytes, sectorBytes};
}

bool namesFloppyMedium(AnswerBytes answer) {
    for (std::size_t at = 0; at + kGeometryBytes <= answer.size(); at += kGeometryBytes)
        if (isFloppy(littleEndianAt<std::uint32_t>(answer, at + 8)))
            return true;
    return false;
}

std::string parseScsiAddress(AnswerBytes answer) {
    if (answer.size() < kScsiAddressBytes || littleEndianAt<std::uint32_t>(answer, 0) < kScsiAddressBytes)
        return {};
    return "port " + std::to_string(answer[4]) + ", bus " + std::to_string(answer[5]) + ", target " +
           std::to_string(answer[6]) + ", unit " + std::to_string(answer[7]);
}

}  // namespace zel
