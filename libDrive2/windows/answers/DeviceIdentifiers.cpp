#include "libDrive2/windows/answers/DeviceIdentifiers.h"

#include <algorithm>
#include <cctype>
#include <string_view>

namespace libDrive2 {

namespace {

using Type = DeviceIdentifier::Type;

// STORAGE_DEVICE_ID_DESCRIPTOR: version, size, count, then the identifiers.
constexpr std::size_t kFirstIdentifierAt = 12;
// STORAGE_IDENTIFIER: code set, type, size, offset of the next, association, then its bytes.
constexpr std::size_t kIdentifierBytesAt = 16;
constexpr std::uint32_t kOfDevice = 0;
constexpr std::uint32_t kBinary = 1;
constexpr std::size_t kEuiDigits = 16;
constexpr std::size_t kDigitsInGroup = 4;

std::string hexOf(Bytes bytes) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0xF];
    }
    return text;
}

bool isBlank(Bytes bytes) {
    return std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte == 0; });
}

std::string nameOf(const DeviceIdentifier& identifier) {
    const Bytes bytes = identifier.bytes;
    const bool isBinary = identifier.codeSet == kBinary;
    if (isBlank(bytes))
        return {};
    switch (identifier.type) {
        case Type::naa:
            return isBinary && (bytes.size() == 8 || bytes.size() == 16) ? "naa." + hexOf(bytes) : "";
        case Type::eui64:
            return isBinary && (bytes.size() == 8 || bytes.size() == 12 || bytes.size() == 16)
                       ? "eui." + hexOf(bytes)
                       : "";
        case Type::nameString:
            return isBinary ? ""
                            : textOf(slice(bytes, 0,
                                           static_cast<std::size_t>(std::distance(
                                               bytes.begin(), std::find(bytes.begin(), bytes.end(), 0)))));
        case Type::vendorId:
            return isBinary || textOf(bytes).empty() ? "" : "t10." + textOf(bytes);
        default:
            return {};
    }
}

}  // namespace

std::vector<DeviceIdentifier> parseDeviceIdentifiers(Bytes answer) {
    const std::size_t stated = loadLittleEndian<std::uint32_t>(answer, 4);
    const Bytes all = slice(answer, 0, stated);
    const auto count = loadLittleEndian<std::uint32_t>(all, 8);
    std::vector<DeviceIdentifier> found;
    std::size_t at = kFirstIdentifierAt;
    for (std::uint32_t i = 0; i < count && at + kIdentifierBytesAt <= all.size(); ++i) {
        const Bytes each = slice(all, at, all.size());
        const std::size_t bytes = loadLittleEndian<std::uint16_t>(each, 8);
        const std::size_t next = loadLittleEndian<std::uint16_t>(each, 10);
        const Bytes value = slice(each, kIdentifierBytesAt, bytes);
        if (value.size() == bytes && bytes > 0 && loadLittleEndian<std::uint32_t>(each, 12) == kOfDevice)
            found.push_back({loadLittleEndian<std::uint32_t>(each, 0),
                             static_cast<Type>(loadLittleEndian<std::uint32_t>(each, 4)),
                             {value.begin(), value.end()}});
        // One that leads into itself ends the list, and so does the last one.
        if (next < kIdentifierBytesAt)
            break;
        at += next;
    }
    return found;
}

std::string worldWideName(const std::vector<DeviceIdentifier>& identifiers) {
    for (const Type type : {Type::naa, Type::eui64, Type::nameString, Type::vendorId})
        for (const DeviceIdentifier& each : identifiers)
            if (const std::string name = each.type == type ? nameOf(each) : ""; !name.empty())
                return name;
    return {};
}

std::string worldWideNameInSerial(const std::string& serial) {
    std::string digits;
    for (std::size_t i = 0; i < serial.size(); ++i) {
        const char c = serial[i];
        const bool isSeparator = i % (kDigitsInGroup + 1) == kDigitsInGroup;
        if (isSeparator ? c != (i + 1 == serial.size() ? '.' : '_')
                        : std::isxdigit(static_cast<unsigned char>(c)) == 0)
            return {};
        if (!isSeparator)
            digits += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    const bool isName = digits.size() == kEuiDigits || digits.size() == 2 * kEuiDigits;
    const bool isEnded = serial.ends_with('.');
    return isName && isEnded && digits.find_first_not_of('0') != std::string::npos ? "eui." + digits : "";
}

}  // namespace libDrive2
