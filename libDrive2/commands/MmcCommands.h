#pragma once

#include <cstdint>

#include "libDrive2/MmcTypes.h"
#include "libDrive2/ScsiPassThrough.h"

namespace libDrive2::mmc {

/// Commands of MMC-6 beyond those of SPC and SBC, ready but for the data buffer: attach one with
/// scsi::withData(). Allocations are the bytes that the answer may fill.

/// The answer's header and this feature, where the drive has it.
ScsiRequest getConfiguration(std::uint16_t feature, std::uint16_t allocation);
/// Polled; the medium's events only.
ScsiRequest getMediaEvent(std::uint16_t allocation);
ScsiRequest readDiscInformation(std::uint16_t allocation);
enum class TrackAddress : std::uint8_t { lba = 0, track = 1 };
ScsiRequest readTrackInformation(TrackAddress kind, std::uint32_t address, std::uint16_t allocation);
/// Format 0: the tracks of all closed sessions, from this one on, with starts as LBAs.
ScsiRequest readToc(std::uint8_t firstTrack, std::uint16_t allocation);
ScsiRequest readFormatCapacities(std::uint16_t allocation);
/// Format C0h: whether and how the medium is protected against writing.
ScsiRequest readWriteProtection(bool isBluRay, std::uint16_t allocation);

/// Type 0, nominal values with 20 % tolerance; the data must hold that many descriptors.
ScsiRequest getNominalPerformance(bool writing, std::uint16_t maxDescriptors);
/// Type 3.
ScsiRequest getWriteSpeeds(std::uint16_t maxDescriptors);
ScsiRequest setCdSpeed(std::uint8_t rotationControl, std::uint16_t readSpeed, std::uint16_t writeSpeed);
ScsiRequest setStreaming(std::uint16_t parameterBytes);

/// READ(12) with the bit that puts time before correctness.
ScsiRequest readStreaming(std::uint32_t lba, std::uint32_t count);

ScsiRequest modeSelect10(std::uint16_t parameterBytes);
ScsiRequest reserveTrack(std::uint32_t sectors);
enum class CloseFunction : std::uint8_t { track = 1, session = 2 };
ScsiRequest closeTrackSession(CloseFunction function, std::uint16_t track, bool immediate);
/// A count of 0 means through the last sector.
ScsiRequest synchronizeCache(std::uint32_t lba, std::uint16_t count, bool immediate);
ScsiRequest blank(BlankType type, bool immediate, std::uint32_t timeoutMs);
ScsiRequest formatUnit(std::uint32_t timeoutMs);

inline constexpr std::uint8_t kModePageWriteParameters = 0x05;
inline constexpr std::uint8_t kModePageCapabilities = 0x2A;
inline constexpr std::uint16_t kInvisibleTrack = 0xFF;  ///< READ TRACK INFORMATION: the one not begun yet
inline constexpr std::uint16_t kFeatureProfileList = 0x0000;
inline constexpr std::uint16_t kFeatureWriteProtect = 0x0004;
inline constexpr std::uint16_t kFeatureIncrementalStreaming = 0x0021;
inline constexpr std::uint16_t kFeatureCdTrackAtOnce = 0x002D;
inline constexpr std::uint16_t kFeatureDvdMinusWrite = 0x002F;
inline constexpr std::uint16_t kFeatureRealTimeStreaming = 0x0107;

/// Format types of FORMAT UNIT.
inline constexpr std::uint8_t kFormatFull = 0x00;
inline constexpr std::uint8_t kFormatFullPackets = 0x10;  ///< CD-RW and DVD-RW
inline constexpr std::uint8_t kFormatDvdPlusRw = 0x26;
inline constexpr std::uint8_t kFormatBdReSpares = 0x30;
inline constexpr std::uint8_t kFormatBdReNoSpares = 0x31;

}  // namespace libDrive2::mmc
