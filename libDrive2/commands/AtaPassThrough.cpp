#include "libDrive2/commands/AtaPassThrough.h"

#include "libDrive2/commands/AtaCommands.h"
#include "libDrive2/commands/ScsiSense.h"
#include "libDrive2/commands/ScsiSenseText.h"

namespace libDrive2::ata {

namespace {

// SAT-3 12.2.2: the operation code and the fields of bytes 1 and 2.
constexpr std::uint8_t kAtaPassThrough16 = 0x85;
constexpr std::uint8_t kProtocolNonData = 3 << 1;
constexpr std::uint8_t kProtocolPioIn = 4 << 1;
constexpr std::uint8_t kProtocolPioOut = 5 << 1;
constexpr std::uint8_t kProtocolDma = 6 << 1;
constexpr std::uint8_t kProtocolFpdma = 12 << 1;
constexpr std::uint8_t kExtend = 0x01;
constexpr std::uint8_t kCheckCondition = 0x20;
constexpr std::uint8_t kFromDevice = 0x08;
constexpr std::uint8_t kBlocks = 0x04;
constexpr std::uint8_t kLogicalSectors = 0x10;  ///< blocks are logical sectors, not 512 bytes
constexpr std::uint8_t kLengthInCount = 0x02;
constexpr std::uint8_t kLengthInFeature = 0x01;

constexpr std::uint8_t kStatusReady = 0x40;
constexpr std::uint8_t kStatusError = 0x01;
constexpr std::uint8_t kStatusDeviceFault = 0x20;

std::uint8_t protocolOf(AtaProtocol protocol) {
    switch (protocol) {
        case AtaProtocol::pioIn:
            return kProtocolPioIn;
        case AtaProtocol::pioOut:
            return kProtocolPioOut;
        case AtaProtocol::dma:
            return kProtocolDma;
        case AtaProtocol::queued:
            return kProtocolFpdma;
        default:
            return kProtocolNonData;
    }
}

/// The registers are not asked back after data by PIO: some controllers leave DRQ in them, and that would
/// turn a good transfer into an error. Nor after queued commands, which leave none of their own.
std::uint8_t transferFlags(const AtaRequest& request) {
    const bool isQueued = request.protocol == AtaProtocol::queued;
    const bool pio = request.protocol == AtaProtocol::pioIn || request.protocol == AtaProtocol::pioOut;
    const std::uint8_t registers = pio || isQueued ? 0 : kCheckCondition;
    if (request.direction == DataDirection::none)
        return registers;
    const std::uint16_t count = isQueued ? request.registers.feature : request.registers.count;
    const bool logical = request.dataBytes != 0 && request.dataBytes != std::size_t{count} * kSectorOfAnswer;
    return static_cast<std::uint8_t>(registers | kBlocks | (isQueued ? kLengthInFeature : kLengthInCount) |
                                     (logical ? kLogicalSectors : 0) |
                                     (request.direction == DataDirection::fromDevice ? kFromDevice : 0));
}

/// Fixed format holds 24 bits of an LBA; a sector that failed lies at or beyond the first one asked for.
std::uint64_t completed(std::uint64_t lowBits, std::uint64_t firstLba) {
    constexpr std::uint64_t kRange = 1U << 24;
    const std::uint64_t lba = (firstLba & ~(kRange - 1)) | (lowBits & (kRange - 1));
    return lba < firstLba ? lba + kRange : lba;
}

void take(const scsi::AtaReturn& registers, const AtaRequest& request, AtaResponse& answer) {
    answer.status = registers.status;
    answer.error = registers.error;
    answer.count = registers.count;
    answer.lba = registers.truncated ? completed(registers.lba, request.registers.lba) : registers.lba;
}

bool reportsFailure(const scsi::AtaReturn& registers) {
    return (registers.status & kStatusReady) != 0 &&
           (registers.status & (kStatusError | kStatusDeviceFault)) != 0;
}

}  // namespace

ScsiRequest toPassThrough(const AtaRequest& request) {
    ScsiRequest scsi;
    const AtaTaskFile& registers = request.registers;
    const auto byteOf = [](std::uint64_t value, unsigned shift) {
        return static_cast<std::uint8_t>(value >> shift & 0xFF);
    };
    scsi.cdb = {kAtaPassThrough16,
                static_cast<std::uint8_t>(protocolOf(request.protocol) | (request.extended ? kExtend : 0)),
                transferFlags(request),
                byteOf(registers.feature, 8),
                byteOf(registers.feature, 0),
                byteOf(registers.count, 8),
                byteOf(registers.count, 0),
                byteOf(registers.lba, 24),
                byteOf(registers.lba, 0),
                byteOf(registers.lba, 32),
                byteOf(registers.lba, 8),
                byteOf(registers.lba, 40),
                byteOf(registers.lba, 16),
                registers.device,
                registers.command,
                0};
    scsi.cdbBytes = 16;
    scsi.direction = request.direction;
    scsi.data = request.data;
    scsi.dataBytes = request.dataBytes;
    scsi.timeoutMs = request.timeoutMs;
    return scsi;
}

AtaResponse fromPassThrough(const ScsiResponse& response, const AtaRequest& request) {
    AtaResponse answer;
    const scsi::Outcome outcome = scsi::judge(response);
    answer.delivery = outcome.status;
    if (!outcome.sense) {
        // Some bridges return nothing on success although the registers were asked for.
        answer.status = outcome.status.ok() ? kStatusReady : 0;
        return answer;
    }
    if (outcome.repeat) {
        if (answer.delivery.ok())
            answer.delivery = {LIBDRIVE2_BUSY,
                               "the command was not executed; " + scsi::describe(*outcome.sense)};
        return answer;
    }
    if (outcome.sense->ata) {
        take(*outcome.sense->ata, request, answer);
        // The registers tell more than the sense key that was made of them.
        if (reportsFailure(*outcome.sense->ata) || outcome.status.ok())
            answer.delivery = {};
        return answer;
    }
    const scsi::AtaReturn fixed = scsi::parseFixedAtaReturn(scsi::senseOf(response));
    const bool isFixed = (response.sense[0] & 0x7F) == 0x70;
    if (!outcome.status.ok() && isFixed && reportsFailure(fixed)) {
        take(fixed, request, answer);
        answer.delivery = {};
    }
    return answer;
}

}  // namespace libDrive2::ata
