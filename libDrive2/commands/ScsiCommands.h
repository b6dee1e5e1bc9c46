#pragma once

#include <cstdint>

#include "libDrive2/ScsiPassThrough.h"

namespace libDrive2::scsi {

/// Commands of SPC-4 and SBC-3, ready but for the data buffer: attach one with withData().

/// READ and WRITE are the 10-byte form where LBA and count fit it, else the 16-byte one.
ScsiRequest read(std::uint64_t lba, std::uint32_t count, bool forceUnitAccess);
ScsiRequest write(std::uint64_t lba, std::uint32_t count, bool forceUnitAccess);
/// Checks the sectors on the medium without moving data (BYTCHK 0).
ScsiRequest verify(std::uint64_t lba, std::uint32_t count);
/// SEEK(10): the LBA must fit 32 bits.
ScsiRequest seek(std::uint32_t lba);
/// The whole cache to the medium.
ScsiRequest synchronizeCache();
ScsiRequest testUnitReady();
ScsiRequest requestSense(std::uint8_t allocation);
ScsiRequest inquiry(std::uint16_t allocation);
ScsiRequest vitalProductData(std::uint8_t page, std::uint16_t allocation);
ScsiRequest readCapacity10();
ScsiRequest readCapacity16(std::uint32_t allocation);
ScsiRequest modeSense6(std::uint8_t page, std::uint8_t allocation);
ScsiRequest modeSense10(std::uint8_t page, std::uint16_t allocation);
ScsiRequest logSense(std::uint8_t page, std::uint16_t allocation);
ScsiRequest preventMediumRemoval(bool prevent);

enum class StartStop : std::uint8_t { stop = 0, start = 1, eject = 2, load = 3 };
ScsiRequest startStopUnit(StartStop action);

/// Attaches the caller's buffer.
ScsiRequest withData(ScsiRequest request, void* data, std::size_t bytes);

inline constexpr std::uint8_t kPageSupportedPages = 0x00;
inline constexpr std::uint8_t kPageUnitSerialNumber = 0x80;
inline constexpr std::uint8_t kPageBlockLimits = 0xB0;
inline constexpr std::uint8_t kPageBlockCharacteristics = 0xB1;
inline constexpr std::uint8_t kModePageCaching = 0x08;
inline constexpr std::uint8_t kModePageControl = 0x0A;
inline constexpr std::uint8_t kModePageAll = 0x3F;
inline constexpr std::uint8_t kLogPageTemperature = 0x0D;

}  // namespace libDrive2::scsi
