#include "libDrive2/commands/ScsiCommands.h"

#include <limits>

#include "libDrive2/commands/Bytes.h"

namespace libDrive2::scsi {

namespace {

// Operation codes of SPC-4 and SBC-3.
constexpr std::uint8_t kTestUnitReady = 0x00;
constexpr std::uint8_t kRequestSense = 0x03;
constexpr std::uint8_t kInquiry = 0x12;
constexpr std::uint8_t kModeSense6 = 0x1A;
constexpr std::uint8_t kStartStopUnit = 0x1B;
constexpr std::uint8_t kPreventAllow = 0x1E;
constexpr std::uint8_t kReadCapacity10 = 0x25;
constexpr std::uint8_t kRead10 = 0x28;
constexpr std::uint8_t kWrite10 = 0x2A;
constexpr std::uint8_t kSeek10 = 0x2B;
constexpr std::uint8_t kVerify10 = 0x2F;
constexpr std::uint8_t kSynchronizeCache10 = 0x35;
constexpr std::uint8_t kLogSense = 0x4D;
constexpr std::uint8_t kModeSense10 = 0x5A;
constexpr std::uint8_t kRead16 = 0x88;
constexpr std::uint8_t kWrite16 = 0x8A;
constexpr std::uint8_t kVerify16 = 0x8F;
constexpr std::uint8_t kServiceActionIn16 = 0x9E;

constexpr std::uint8_t kForceUnitAccess = 0x08;
constexpr std::uint8_t kCurrentCumulative = 0x40;  ///< page control of LOG SENSE
constexpr std::uint8_t kNoBlockDescriptors = 0x08;

/// Spinning up, loading and emptying a large cache take their time.
constexpr std::uint32_t kSlowCommandMs = 120000;
/// What moves nothing is answered at once by a unit that lives.
constexpr std::uint32_t kQuickCommandMs = 10000;

ScsiRequest command(std::uint8_t opcode, std::uint8_t cdbBytes,
                    DataDirection direction = DataDirection::none) {
    ScsiRequest request;
    request.cdb[0] = opcode;
    request.cdbBytes = cdbBytes;
    request.direction = direction;
    return request;
}

ScsiRequest blocks(std::uint8_t opcode10, std::uint8_t opcode16, std::uint64_t lba, std::uint32_t count,
                   DataDirection direction) {
    // Both ends must fit: a 10-byte command whose last LBA wraps around would reach other sectors.
    constexpr std::uint64_t kLastLba10 = std::numeric_limits<std::uint32_t>::max();
    if (lba <= kLastLba10 && lba + count <= kLastLba10 + 1 &&
        count <= std::numeric_limits<std::uint16_t>::max()) {
        ScsiRequest request = command(opcode10, 10, direction);
        storeBigEndian(request.cdb, 2, static_cast<std::uint32_t>(lba));
        storeBigEndian(request.cdb, 7, static_cast<std::uint16_t>(count));
        return request;
    }
    ScsiRequest request = command(opcode16, 16, direction);
    storeBigEndian(request.cdb, 2, lba);
    storeBigEndian(request.cdb, 10, count);
    return request;
}

}  // namespace

ScsiRequest read(std::uint64_t lba, std::uint32_t count, bool forceUnitAccess) {
    ScsiRequest request = blocks(kRead10, kRead16, lba, count, DataDirection::fromDevice);
    request.cdb[1] = forceUnitAccess ? kForceUnitAccess : 0;
    return request;
}

ScsiRequest write(std::uint64_t lba, std::uint32_t count, bool forceUnitAccess) {
    ScsiRequest request = blocks(kWrite10, kWrite16, lba, count, DataDirection::toDevice);
    request.cdb[1] = forceUnitAccess ? kForceUnitAccess : 0;
    return request;
}

ScsiRequest verify(std::uint64_t lba, std::uint32_t count) {
    return blocks(kVerify10, kVerify16, lba, count, DataDirection::none);
}

ScsiRequest seek(std::uint32_t lba) {
    ScsiRequest request = command(kSeek10, 10);
    storeBigEndian(request.cdb, 2, lba);
    return request;
}

ScsiRequest synchronizeCache() {
    ScsiRequest request = command(kSynchronizeCache10, 10);
    request.timeoutMs = kSlowCommandMs;
    return request;
}

ScsiRequest testUnitReady() {
    ScsiRequest request = command(kTestUnitReady, 6);
    request.timeoutMs = kQuickCommandMs;
    return request;
}

ScsiRequest requestSense(std::uint8_t allocation) {
    ScsiRequest request = command(kRequestSense, 6, DataDirection::fromDevice);
    request.cdb[4] = allocation;
    return request;
}

ScsiRequest inquiry(std::uint16_t allocation) {
    ScsiRequest request = command(kInquiry, 6, DataDirection::fromDevice);
    storeBigEndian(request.cdb, 3, allocation);
    return request;
}

ScsiRequest vitalProductData(std::uint8_t page, std::uint16_t allocation) {
    ScsiRequest request = inquiry(allocation);
    request.cdb[1] = 1;  // EVPD
    request.cdb[2] = page;
    return request;
}

ScsiRequest readCapacity10() {
    return command(kReadCapacity10, 10, DataDirection::fromDevice);
}

ScsiRequest readCapacity16(std::uint32_t allocation) {
    ScsiRequest request = command(kServiceActionIn16, 16, DataDirection::fromDevice);
    request.cdb[1] = 0x10;  // the service action
    storeBigEndian(request.cdb, 10, allocation);
    return request;
}

ScsiRequest modeSense6(std::uint8_t page, std::uint8_t allocation) {
    ScsiRequest request = command(kModeSense6, 6, DataDirection::fromDevice);
    request.cdb[1] = kNoBlockDescriptors;
    request.cdb[2] = page;
    request.cdb[4] = allocation;
    return request;
}

ScsiRequest modeSense10(std::uint8_t page, std::uint16_t allocation) {
    ScsiRequest request = command(kModeSense10, 10, DataDirection::fromDevice);
    request.cdb[1] = kNoBlockDescriptors;
    request.cdb[2] = page;
    storeBigEndian(request.cdb, 7, allocation);
    return request;
}

ScsiRequest logSense(std::uint8_t page, std::uint16_t allocation) {
    ScsiRequest request = command(kLogSense, 10, DataDirection::fromDevice);
    request.cdb[2] = static_cast<std::uint8_t>(kCurrentCumulative | page);
    storeBigEndian(request.cdb, 7, allocation);
    return request;
}

ScsiRequest preventMediumRemoval(bool prevent) {
    ScsiRequest request = command(kPreventAllow, 6);
    request.cdb[4] = prevent ? 1 : 0;
    return request;
}

ScsiRequest startStopUnit(StartStop action) {
    ScsiRequest request = command(kStartStopUnit, 6);
    request.cdb[4] = static_cast<std::uint8_t>(action);  // LOEJ and START
    request.timeoutMs = kSlowCommandMs;
    return request;
}

ScsiRequest withData(ScsiRequest request, void* data, std::size_t bytes) {
    request.data = data;
    request.dataBytes = bytes;
    return request;
}

}  // namespace libDrive2::scsi
