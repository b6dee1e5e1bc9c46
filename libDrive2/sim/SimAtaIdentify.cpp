#include "libDrive2/sim/SimAtaIdentify.h"

#include <algorithm>
#include <limits>
#include <string_view>
#include <utility>

#include "libDrive2/sim/SimAtaSmart.h"
#include "libDrive2/sim/SimBytes.h"
#include "libDrive2/sim/SimIdentity.h"

namespace libDrive2 {

namespace {

constexpr std::uint64_t kMax28BitSectors = 0x0FFFFFFF;
constexpr std::uint32_t kDefaultSectorBytes = 512;

void putWord(AtaSector& data, std::size_t word, std::uint64_t value, std::size_t words = 1) {
    putLittleEndian(&data[2 * word], 2 * words, value);
}

/// ATA strings: the first character of each pair in the upper byte of its word.
void putString(AtaSector& data, std::size_t word, std::size_t words, std::string_view text) {
    putText(&data[2 * word], 2 * words, text);
    for (std::size_t at = 2 * word; at < 2 * (word + words); at += 2)
        std::swap(data[at], data[at + 1]);
}

void putTransferModes(AtaSector& data) {
    putWord(data, 47, 0x8010);
    putWord(data, 49, 0x0F00);  // DMA, LBA, IORDY
    putWord(data, 50, 0x4000);
    putWord(data, 53, 0x0006);  // words 64 to 70 and 88 are valid
    putWord(data, 63, 0x0007);  // multiword DMA modes 0 to 2
    putWord(data, 64, 0x0003);  // PIO modes 3 and 4
    putWord(data, 76, 0x000E);  // SATA generations 1 to 3
    putWord(data, 80, 0x0FF0);  // ATA/ATAPI-4 to ACS-4
    putWord(data, 88, 0x407F);  // Ultra DMA mode 6
}

/// Supported in words 82 to 84, enabled in 85 to 87.
void putFeatureSets(AtaSector& data, const SimSecurity& security) {
    putWord(data, 82, 0x006B);  // look-ahead, write cache, power management, security, SMART
    putWord(data, 83, 0x7400);  // FLUSH CACHE EXT, FLUSH CACHE, 48-bit addresses
    putWord(data, 84, 0x4040);  // WRITE DMA FUA EXT
    putWord(data, 85, security.isEnabled() ? 0x006B : 0x0069);
    putWord(data, 86, 0x3400);
    putWord(data, 87, 0x4040);
}

/// The feature sets that tell of hidden areas, supported and enabled.
void putHiddenAreas(AtaSector& data, const SimHealthOptions& areas) {
    for (const std::size_t at : {164U, 170U})  // words 82 and 85
        data[at + 1] = static_cast<std::uint8_t>(data[at + 1] | (areas.hpaSectors ? 0x04 : 0));
    for (const std::size_t at : {166U, 172U})  // words 83 and 86
        data[at + 1] = static_cast<std::uint8_t>(data[at + 1] | (areas.dcoSectors ? 0x08 : 0));
    putWord(data, 119, areas.inaccessibleSectors ? 0x4100 : 0x4000);
}

std::uint16_t securityStatus(const SimSecurity& security) {
    return static_cast<std::uint16_t>(0x0001 | (security.isEnabled() ? 0x0002 : 0) |
                                      (security.isLocked() ? 0x0004 : 0) |
                                      (security.isExpired() ? 0x0010 : 0));
}

void putCapacity(AtaSector& data, const SimOptions& options) {
    putWord(data, 60, std::min(options.sectors, kMax28BitSectors), 2);
    putWord(data, 100, options.sectors, 4);
    if (options.sectorBytes == kDefaultSectorBytes) {
        putWord(data, 106, 0x4000);
        return;
    }
    putWord(data, 106, 0x5000);  // logical sectors are longer than 256 words
    putWord(data, 117, options.sectorBytes / 2, 2);
}

}  // namespace

AtaSector ataIdentifyData(const SimMedium& medium) {
    const SimIdentity identity = identify(medium);
    const SimSecurity& security = medium.state().security;
    AtaSector data{};
    putWord(data, 0, medium.options().removable ? 0x0080 : 0x0040);
    putString(data, 10, 10, identity.serial);
    putString(data, 23, 4, identity.firmware);
    putString(data, 27, 20, identity.model);
    putTransferModes(data);
    putFeatureSets(data, security);
    putHiddenAreas(data, medium.state().health->options());
    putCapacity(data, medium.options());
    putWord(data, 128, securityStatus(security));
    putWord(data, 217, 7200);  // turns a minute
    data[510] = 0xA5;          // a checksum follows
    putAtaChecksum(data);
    return data;
}

}  // namespace libDrive2
