#include <algorithm>
#include <bit>
#include <numeric>

#include "libDrive2/commands/AtaCommands.h"

namespace libDrive2::ata {

namespace {

constexpr std::uint16_t kCompactFlash = 0x848A;  ///< looks like a packet device, but is none
constexpr std::uint8_t kChecksumSignature = 0xA5;
constexpr std::uint32_t kMaxSectorBytes = 1U << 16;
constexpr std::uint64_t kMaxSectors28 = 0x0FFFFFFF;
constexpr std::uint64_t kMaxSectors48 = 0xFFFFFFFFFFFF;

/// A word of IDENTIFY data (ACS-4, table 45).
std::uint16_t word(Bytes answer, std::size_t index) {
    return loadLittleEndian<std::uint16_t>(answer, index * 2);
}

bool bit(Bytes answer, std::size_t index, unsigned number) {
    return (word(answer, index) >> number & 1) != 0;
}

/// Whether a word that carries its own validity mark (bit 14 set, 15 clear) is to be believed.
bool isMarkedValid(std::uint16_t value) {
    return (value & 0xC000) == 0x4000;
}

/// ATA strings hold two characters a word, the first in the upper half.
std::string swappedText(Bytes answer, std::size_t firstWord, std::size_t words) {
    std::string swapped;
    for (std::size_t i = firstWord; i < firstWord + words; ++i) {
        swapped += static_cast<char>(byteAt(answer, i * 2 + 1));
        swapped += static_cast<char>(byteAt(answer, i * 2));
    }
    const auto* const data = reinterpret_cast<const std::uint8_t*>(swapped.data());
    return textOf(Bytes(data, swapped.size()));
}

bool hasGoodChecksum(Bytes answer) {
    const auto sum = std::accumulate(answer.begin(), answer.begin() + kSectorOfAnswer, 0U);
    return (sum & 0xFF) == 0;
}

void readSectorSizes(Bytes answer, Identity& identity) {
    const std::uint16_t sizes = word(answer, 106);
    if (!isMarkedValid(sizes))
        return;
    if ((sizes & 0x1000) != 0) {
        const auto words = loadLittleEndian<std::uint32_t>(answer, std::size_t{117} * 2);
        identity.sectorBytes = words <= kMaxSectorBytes ? words * 2 : 0;  // 0 is refused below
    }
    identity.physicalSectorBytes = identity.sectorBytes;
    if ((sizes & 0x2000) != 0)
        identity.physicalSectorBytes = identity.sectorBytes << (sizes & 0x0FU);
}

/// In units of two minutes; bit 15 tells that 15 bits hold them, not 8.
std::uint32_t eraseMinutes(std::uint16_t value) {
    return ((value & 0x8000) != 0 ? value & 0x7FFFU : value & 0xFFU) * 2;
}

Security readSecurity(Bytes answer) {
    Security security;
    const std::uint16_t status = word(answer, 128);
    security.supported = (status & 0x0001) != 0;
    security.enabled = (status & 0x0002) != 0;
    security.locked = (status & 0x0004) != 0;
    security.frozen = (status & 0x0008) != 0;
    security.enhancedErase = (status & 0x0020) != 0;
    security.eraseMinutes = eraseMinutes(word(answer, 89));
    security.enhancedEraseMinutes = eraseMinutes(word(answer, 90));
    return security;
}

void readFeatures(Bytes answer, Identity& identity) {
    const bool told = isMarkedValid(word(answer, 83)) && isMarkedValid(word(answer, 87));
    identity.smart = told && bit(answer, 82, 0) && bit(answer, 85, 0);
    if (isMarkedValid(word(answer, 83))) {
        identity.extended = bit(answer, 83, 10);
        identity.flushExtended = bit(answer, 83, 13);
        identity.areas.hostProtected = bit(answer, 82, 10);
        identity.areas.configurationOverlay = bit(answer, 83, 11);
    }
    // Words 75 and 76 are those of serial drives; 0 and FFFFh are not.
    if (const std::uint16_t serial = word(answer, 76); serial != 0xFFFF && (serial & 0x0100) != 0)
        identity.queueDepth = (word(answer, 75) & 0x1FU) + 1;
    if (isMarkedValid(word(answer, 84)))
        identity.forceUnitAccess = bit(answer, 84, 6) && identity.extended;
    if (isMarkedValid(word(answer, 119)))
        identity.areas.accessibleMaxAddress = bit(answer, 119, 8);
}

}  // namespace

std::optional<Identity> parseIdentity(Bytes answer) {
    if (answer.size() < kSectorOfAnswer)
        return std::nullopt;
    if (answer[510] == kChecksumSignature && !hasGoodChecksum(answer))
        return std::nullopt;
    Identity identity;
    identity.isAta = !bit(answer, 0, 15) || word(answer, 0) == kCompactFlash;
    identity.serial = swappedText(answer, 10, 10);
    identity.firmware = swappedText(answer, 23, 4);
    identity.model = swappedText(answer, 27, 20);
    identity.sectorBytes = identity.physicalSectorBytes = 512;
    readFeatures(answer, identity);
    readSectorSizes(answer, identity);
    identity.security = readSecurity(answer);
    identity.sectors = identity.extended
                           ? loadLittleEndian<std::uint64_t>(answer, std::size_t{100} * 2) & kMaxSectors48
                           : loadLittleEndian<std::uint32_t>(answer, std::size_t{60} * 2) & kMaxSectors28;
    if (!std::has_single_bit(identity.sectorBytes) || identity.sectorBytes < 512 ||
        identity.sectorBytes > kMaxSectorBytes || identity.physicalSectorBytes > kMaxSectorBytes << 4)
        return std::nullopt;
    return identity;
}

std::optional<double> parseSmartTemperature(Bytes answer) {
    constexpr std::size_t kFirstAttribute = 2;
    constexpr std::size_t kAttributeBytes = 12;
    constexpr std::size_t kAttributes = 30;
    if (answer.size() < kSectorOfAnswer || !hasGoodChecksum(answer))
        return std::nullopt;
    for (const int wanted : {194, 190})
        for (std::size_t i = 0; i < kAttributes; ++i) {
            const std::size_t at = kFirstAttribute + i * kAttributeBytes;
            // The lowest byte of the raw value; the others hold extremes in ways of each vendor's own.
            if (answer[at] == wanted && answer[at + 5] != 0)
                return static_cast<double>(static_cast<std::int8_t>(answer[at + 5]));
        }
    return std::nullopt;
}

}  // namespace libDrive2::ata
