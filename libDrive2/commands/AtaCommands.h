#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "libDrive2/AtaDevice.h"
#include "libDrive2/commands/Bytes.h"

namespace libDrive2::ata {

inline constexpr std::size_t kSectorOfAnswer = 512;  ///< IDENTIFY, SMART and security data

/// Commands of ACS-4, ready but for the data buffer: attach one with withData(). `extended` chooses the
/// 48-bit form; the 28-bit one reaches 2^28 sectors, 256 a command.
AtaRequest identifyDevice();
AtaRequest readDma(std::uint64_t lba, std::uint32_t count, bool extended);
/// The tag is the transport's.
AtaRequest readQueued(std::uint64_t lba, std::uint32_t count);
AtaRequest writeDma(std::uint64_t lba, std::uint32_t count, bool extended);
/// Returns when the data is on the medium; 48-bit only.
AtaRequest writeDmaFua(std::uint64_t lba, std::uint32_t count);
AtaRequest readVerify(std::uint64_t lba, std::uint32_t count, bool extended);
AtaRequest flushCache(bool extended);
AtaRequest standbyImmediate();
AtaRequest idleImmediate();
/// Answered at once in every power mode.
AtaRequest checkPowerMode();
AtaRequest smartReadData();
AtaRequest securityUnlock();
AtaRequest securityDisablePassword();
AtaRequest securityErasePrepare();
/// The device says in its identity how long that takes; `timeoutMs` must allow for it.
AtaRequest securityEraseUnit(std::uint32_t timeoutMs);

AtaRequest withData(AtaRequest request, void* data, std::size_t bytes);

/// The data of the security commands.
std::array<std::uint8_t, kSectorOfAnswer> securityData(const std::string& password, bool enhancedErase);

struct Security {
    bool supported = false;
    bool enabled = false;  ///< a password is set
    bool locked = false;
    bool frozen = false;
    bool enhancedErase = false;
    std::uint32_t eraseMinutes = 0;  ///< 0 unknown
    std::uint32_t enhancedEraseMinutes = 0;
};

/// The feature sets by which sectors are hidden.
struct AreaFeatures {
    bool hostProtected = false;         ///< HPA (ATA/ATAPI-7): READ NATIVE MAX ADDRESS
    bool configurationOverlay = false;  ///< DCO (ACS-2)
    bool accessibleMaxAddress = false;  ///< what took the place of both (ACS-3)
};

struct Identity {
    bool isAta = false;  ///< false for packet devices
    std::string model, serial, firmware;
    std::uint64_t sectors = 0;
    std::uint32_t sectorBytes = 512;
    std::uint32_t physicalSectorBytes = 512;
    bool extended = false;    ///< 48-bit addresses
    unsigned queueDepth = 0;  ///< of queued commands; 0 where it takes none
    bool forceUnitAccess = false;
    bool flushExtended = false;
    bool smart = false;
    AreaFeatures areas;
    Security security;
};
/// Nothing when the answer is short, its checksum is wrong, or its numbers cannot be.
std::optional<Identity> parseIdentity(Bytes answer);

/// Degrees Celsius from SMART attribute 194 or 190.
std::optional<double> parseSmartTemperature(Bytes answer);

/// The one place that decodes status and error registers to a cause and a text.
DeviceStatus statusOf(const AtaResponse& response);

}  // namespace libDrive2::ata
