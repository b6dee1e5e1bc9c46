#include "libDrive2/commands/MmcCommands.h"

#include "libDrive2/commands/Bytes.h"

namespace libDrive2::mmc {

namespace {

// Operation codes of MMC-6.
constexpr std::uint8_t kFormatUnit = 0x04;
constexpr std::uint8_t kReadFormatCapacities = 0x23;
constexpr std::uint8_t kSynchronizeCache = 0x35;
constexpr std::uint8_t kReadTocPmaAtip = 0x43;
constexpr std::uint8_t kGetConfiguration = 0x46;
constexpr std::uint8_t kGetEventStatusNotification = 0x4A;
constexpr std::uint8_t kReadDiscInformation = 0x51;
constexpr std::uint8_t kReadTrackInformation = 0x52;
constexpr std::uint8_t kReserveTrack = 0x53;
constexpr std::uint8_t kModeSelect10 = 0x55;
constexpr std::uint8_t kCloseTrackSession = 0x5B;
constexpr std::uint8_t kBlank = 0xA1;
constexpr std::uint8_t kRead12 = 0xA8;
constexpr std::uint8_t kGetPerformance = 0xAC;
constexpr std::uint8_t kReadDiscStructure = 0xAD;
constexpr std::uint8_t kSetStreaming = 0xB6;
constexpr std::uint8_t kSetCdSpeed = 0xBB;

constexpr std::uint8_t kOneFeature = 0x02;     ///< RT of GET CONFIGURATION
constexpr std::uint8_t kPolled = 0x01;         ///< of GET EVENT STATUS NOTIFICATION
constexpr std::uint8_t kMediaClass = 1U << 4;  ///< of GET EVENT STATUS NOTIFICATION
constexpr std::uint8_t kStructureWriteProtection = 0xC0;
constexpr std::uint8_t kNominalPerformance = 0x10;  ///< TOLERANCE 10b, EXCEPT 00b of GET PERFORMANCE
constexpr std::uint8_t kWritePerformance = 0x04;
constexpr std::uint8_t kTypeWriteSpeed = 0x03;
constexpr std::uint8_t kStreaming = 0x80;
constexpr std::uint8_t kPageFormat = 0x10;        ///< PF of MODE SELECT
constexpr std::uint8_t kFormatParameters = 0x11;  ///< FMTDATA, format code 1 of FORMAT UNIT

/// Emptying the drive's cache, and the ends of tracks, onto the medium.
constexpr std::uint32_t kSlowCommandMs = 300000;

ScsiRequest command(std::uint8_t opcode, std::uint8_t cdbBytes,
                    DataDirection direction = DataDirection::none) {
    ScsiRequest request;
    request.cdb[0] = opcode;
    request.cdbBytes = cdbBytes;
    request.direction = direction;
    return request;
}

/// The questions with ten bytes have the allocation length at the same place.
ScsiRequest question(std::uint8_t opcode, std::uint16_t allocation) {
    ScsiRequest request = command(opcode, 10, DataDirection::fromDevice);
    storeBigEndian(request.cdb, 7, allocation);
    return request;
}

ScsiRequest getPerformance(std::uint8_t dataType, std::uint8_t type, std::uint16_t maxDescriptors) {
    ScsiRequest request = command(kGetPerformance, 12, DataDirection::fromDevice);
    request.cdb[1] = dataType;
    storeBigEndian(request.cdb, 8, maxDescriptors);
    request.cdb[10] = type;
    return request;
}

}  // namespace

ScsiRequest getConfiguration(std::uint16_t feature, std::uint16_t allocation) {
    ScsiRequest request = question(kGetConfiguration, allocation);
    request.cdb[1] = kOneFeature;
    storeBigEndian(request.cdb, 2, feature);
    return request;
}

ScsiRequest getMediaEvent(std::uint16_t allocation) {
    ScsiRequest request = question(kGetEventStatusNotification, allocation);
    request.cdb[1] = kPolled;
    request.cdb[4] = kMediaClass;
    return request;
}

ScsiRequest readDiscInformation(std::uint16_t allocation) {
    return question(kReadDiscInformation, allocation);
}

ScsiRequest readTrackInformation(TrackAddress kind, std::uint32_t address, std::uint16_t allocation) {
    ScsiRequest request = question(kReadTrackInformation, allocation);
    request.cdb[1] = static_cast<std::uint8_t>(kind);
    storeBigEndian(request.cdb, 2, address);
    return request;
}

ScsiRequest readToc(std::uint8_t firstTrack, std::uint16_t allocation) {
    ScsiRequest request = question(kReadTocPmaAtip, allocation);
    request.cdb[6] = firstTrack;
    return request;
}

ScsiRequest readFormatCapacities(std::uint16_t allocation) {
    return question(kReadFormatCapacities, allocation);
}

ScsiRequest readWriteProtection(bool isBluRay, std::uint16_t allocation) {
    ScsiRequest request = command(kReadDiscStructure, 12, DataDirection::fromDevice);
    request.cdb[1] = isBluRay ? 1 : 0;
    request.cdb[7] = kStructureWriteProtection;
    storeBigEndian(request.cdb, 8, allocation);
    return request;
}

ScsiRequest getNominalPerformance(bool writing, std::uint16_t maxDescriptors) {
    const std::uint8_t direction = writing ? kWritePerformance : std::uint8_t{0};
    return getPerformance(kNominalPerformance | direction, 0, maxDescriptors);
}

ScsiRequest getWriteSpeeds(std::uint16_t maxDescriptors) {
    return getPerformance(0, kTypeWriteSpeed, maxDescriptors);
}

ScsiRequest setCdSpeed(std::uint8_t rotationControl, std::uint16_t readSpeed, std::uint16_t writeSpeed) {
    ScsiRequest request = command(kSetCdSpeed, 12);
    request.cdb[1] = rotationControl & 0x03;
    storeBigEndian(request.cdb, 2, readSpeed);
    storeBigEndian(request.cdb, 4, writeSpeed);
    return request;
}

ScsiRequest setStreaming(std::uint16_t parameterBytes) {
    ScsiRequest request = command(kSetStreaming, 12, DataDirection::toDevice);
    storeBigEndian(request.cdb, 9, parameterBytes);
    return request;
}

ScsiRequest readStreaming(std::uint32_t lba, std::uint32_t count) {
    ScsiRequest request = command(kRead12, 12, DataDirection::fromDevice);
    storeBigEndian(request.cdb, 2, lba);
    storeBigEndian(request.cdb, 6, count);
    request.cdb[10] = kStreaming;
    return request;
}

ScsiRequest modeSelect10(std::uint16_t parameterBytes) {
    ScsiRequest request = command(kModeSelect10, 10, DataDirection::toDevice);
    request.cdb[1] = kPageFormat;
    storeBigEndian(request.cdb, 7, parameterBytes);
    return request;
}

ScsiRequest reserveTrack(std::uint32_t sectors) {
    ScsiRequest request = command(kReserveTrack, 10);
    storeBigEndian(request.cdb, 5, sectors);
    request.timeoutMs = kSlowCommandMs;
    return request;
}

ScsiRequest closeTrackSession(CloseFunction function, std::uint16_t track, bool immediate) {
    ScsiRequest request = command(kCloseTrackSession, 10);
    request.cdb[1] = immediate ? 1 : 0;
    request.cdb[2] = static_cast<std::uint8_t>(function);
    storeBigEndian(request.cdb, 4, track);
    request.timeoutMs = kSlowCommandMs;
    return request;
}

ScsiRequest synchronizeCache(std::uint32_t lba, std::uint16_t count, bool immediate) {
    ScsiRequest request = command(kSynchronizeCache, 10);
    request.cdb[1] = immediate ? 2 : 0;
    storeBigEndian(request.cdb, 2, lba);
    storeBigEndian(request.cdb, 7, count);
    request.timeoutMs = kSlowCommandMs;
    return request;
}

ScsiRequest blank(BlankType type, bool immediate, std::uint32_t timeoutMs) {
    ScsiRequest request = command(kBlank, 12);
    request.cdb[1] = static_cast<std::uint8_t>((immediate ? 0x10 : 0) | static_cast<std::uint8_t>(type));
    request.timeoutMs = timeoutMs;
    return request;
}

ScsiRequest formatUnit(std::uint32_t timeoutMs) {
    ScsiRequest request = command(kFormatUnit, 6, DataDirection::toDevice);
    request.cdb[1] = kFormatParameters;
    request.timeoutMs = timeoutMs;
    return request;
}

}  // namespace libDrive2::mmc
