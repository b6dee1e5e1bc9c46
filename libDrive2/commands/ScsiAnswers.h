#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "libDrive2/commands/Bytes.h"

namespace libDrive2::scsi {

/// Parsers of what SCSI devices answer. An answer that is too short for what it must hold, or that
/// contradicts itself, gives nothing; bytes beyond what it says it holds are ignored (but
/// for INQUIRY, whose length field many devices fill in wrongly).

struct Inquiry {
    std::uint8_t deviceType = 0x1F;  ///< peripheral device type: 0 disk, 5 optical, 0x1F unknown
    bool removable = false;
    std::uint8_t version = 0;  ///< of the primary commands claimed: 5 is SPC-3
    std::string vendor, product, revision;
};
std::optional<Inquiry> parseInquiry(Bytes answer);

/// The page codes of vital product data page 0.
std::optional<std::vector<std::uint8_t>> parseSupportedPages(Bytes answer);
std::optional<std::string> parseUnitSerialNumber(Bytes answer);

/// Counts of logical blocks; 0 where the device sets no limit.
struct BlockLimits {
    std::uint32_t maximumTransfer = 0;
    std::uint32_t optimalTransfer = 0;
};
std::optional<BlockLimits> parseBlockLimits(Bytes answer);

struct BlockCharacteristics {
    std::uint16_t rotationRate = 0;  ///< revolutions per minute; 0 not reported, 1 no rotating medium
};
std::optional<BlockCharacteristics> parseBlockCharacteristics(Bytes answer);

struct Capacity {
    std::uint64_t sectors = 0;
    std::uint32_t sectorBytes = 0;
    std::uint32_t physicalSectorBytes = 0;
    std::uint8_t protectionType = 0;  ///< of the protection information beside each sector; 0 none
};
/// More sectors than the answer has room for: the 16-byte command tells them.
inline constexpr std::uint64_t kCapacityTooLarge = 0x100000000;
std::optional<Capacity> parseCapacity10(Bytes answer);
std::optional<Capacity> parseCapacity16(Bytes answer);

/// What MODE SENSE says of the unit as a whole, and its caching page where that was among the answers.
struct ModeParameters {
    bool writeProtected = false;
    bool supportsForceUnitAccess = false;
    std::optional<bool> writeCacheEnabled;
    /// The application tags of protection information belong to whoever writes them (ATO).
    bool hostOwnsTags = false;
};
std::optional<ModeParameters> parseModeSense6(Bytes answer);
std::optional<ModeParameters> parseModeSense10(Bytes answer);

/// Degrees Celsius.
std::optional<double> parseTemperature(Bytes answer);

}  // namespace libDrive2::scsi
