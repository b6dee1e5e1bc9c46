#include "libDrive2/commands/NVMeCommands.h"

#include <limits>

namespace libDrive2::nvme {

namespace {

// Places in the structures of NVM Express 1.4, figures 245 (namespace), 247 (controller) and 194 (health).
constexpr std::size_t kMaxDataTransferSize = 77;
constexpr std::size_t kOptionalAdminCommands = 256;
constexpr std::size_t kOptionalCommands = 520;
constexpr std::size_t kVolatileWriteCache = 525;
constexpr std::size_t kFormats = 25;  ///< how many, counted from 0
constexpr std::size_t kFormattedSize = 26;
constexpr std::size_t kNamespaceAttributes = 99;
constexpr std::size_t kFirstFormat = 128;
constexpr std::uint64_t kSmallestPage = 4096;
constexpr unsigned kMinSizeExponent = 9;
constexpr unsigned kMaxSizeExponent = 16;
constexpr unsigned kMaxTransferExponent = 31;
constexpr double kKelvinOfZeroCelsius = 273;

}  // namespace

std::optional<Controller> parseController(Bytes answer) {
    if (answer.size() < kIdentifyBytes)
        return std::nullopt;
    Controller controller;
    controller.serial = textOf(answer.subspan(4, 20));
    controller.model = textOf(answer.subspan(24, 40));
    controller.firmware = textOf(answer.subspan(64, 8));
    const unsigned exponent = answer[kMaxDataTransferSize];
    if (exponent != 0 && exponent < kMaxTransferExponent)
        controller.maxTransferBytes = kSmallestPage << exponent;
    controller.supportsVerify = (answer[kOptionalCommands] & 0x80) != 0;
    controller.testsItself = (answer[kOptionalAdminCommands] & 0x10) != 0;
    controller.hasWriteCache = (answer[kVolatileWriteCache] & 0x01) != 0;
    return controller;
}

std::optional<Namespace> parseNamespace(Bytes answer) {
    if (answer.size() < kIdentifyBytes)
        return std::nullopt;
    // Bits 6:5 extend the index beyond 16 formats, bit 4 says where metadata goes.
    const std::uint8_t chosen = answer[kFormattedSize];
    const std::size_t index = (chosen & 0x0FU) | (chosen & 0x60U) >> 1;
    const Bytes format = slice(answer, kFirstFormat + index * 4, 4);
    const unsigned exponent = byteAt(format, 2);
    const auto sectors = loadLittleEndian<std::uint64_t>(answer, 0);
    if (index > answer[kFormats] || exponent < kMinSizeExponent || exponent > kMaxSizeExponent ||
        sectors == 0 || sectors > std::numeric_limits<std::uint64_t>::max() >> exponent)
        return std::nullopt;
    Namespace found;
    found.sectors = sectors;
    found.sectorBytes = 1U << exponent;
    found.metadataBytes = loadLittleEndian<std::uint16_t>(format, 0);
    found.metadataInData = (chosen & 0x10) != 0 && found.metadataBytes != 0;
    found.writeProtected = (answer[kNamespaceAttributes] & 0x01) != 0;
    return found;
}

std::optional<double> parseTemperature(Bytes answer) {
    if (answer.size() < kHealthLogBytes)
        return std::nullopt;
    const auto kelvin = loadLittleEndian<std::uint16_t>(answer, 1);
    return kelvin != 0 ? std::optional(kelvin - kKelvinOfZeroCelsius) : std::nullopt;
}

}  // namespace libDrive2::nvme
