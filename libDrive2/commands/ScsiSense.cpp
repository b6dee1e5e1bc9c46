#include "libDrive2/commands/ScsiSense.h"

#include "libDrive2/commands/ScsiSenseText.h"
#include "zel/Words.h"

namespace libDrive2::scsi {

namespace {

// Response codes and descriptor types of SPC-4 4.5; the ATA ones of SAT-3.
constexpr std::uint8_t kFixedCurrent = 0x70;
constexpr std::uint8_t kFixedDeferred = 0x71;
constexpr std::uint8_t kDescriptorCurrent = 0x72;
constexpr std::uint8_t kDescriptorDeferred = 0x73;
constexpr std::uint8_t kInformationDescriptor = 0x00;
constexpr std::uint8_t kAtaReturnDescriptor = 0x09;
constexpr std::uint8_t kAtaPassThroughInformation = 0x1D;

// Status bytes of SAM-5.
constexpr std::uint8_t kGood = 0x00;
constexpr std::uint8_t kCheckCondition = 0x02;
constexpr std::uint8_t kConditionMet = 0x04;
constexpr std::uint8_t kBusy = 0x08;
constexpr std::uint8_t kReservationConflict = 0x18;
constexpr std::uint8_t kTaskSetFull = 0x28;
constexpr std::uint8_t kAcaActive = 0x30;
constexpr std::uint8_t kTaskAborted = 0x40;

/// 28-bit commands have bits 27:24 of the LBA in the device register.
std::uint64_t upperBits28(std::uint8_t device) {
    return std::uint64_t{device & 0x0FU} << 24;
}

AtaReturn descriptorAtaReturn(Bytes descriptor) {
    AtaReturn registers;
    const bool extended = (byteAt(descriptor, 2) & 1) != 0;
    const auto wide = [&](std::size_t high, std::size_t low) {
        return static_cast<std::uint64_t>((extended ? byteAt(descriptor, high) << 8 : 0) |
                                          byteAt(descriptor, low));
    };
    registers.error = byteAt(descriptor, 3);
    registers.count = static_cast<std::uint16_t>(wide(4, 5));
    // Each pair holds bits 8 bytes apart: the second halves are LBA 31:24, 39:32 and 47:40.
    const std::uint64_t low = wide(6, 7);
    const std::uint64_t mid = wide(8, 9);
    const std::uint64_t high = wide(10, 11);
    registers.lba = (low & 0xFF) | (mid & 0xFF) << 8 | (high & 0xFF) << 16 | (low >> 8) << 24 |
                    (mid >> 8) << 32 | (high >> 8) << 40;
    registers.device = byteAt(descriptor, 12);
    registers.status = byteAt(descriptor, 13);
    if (!extended)
        registers.lba |= upperBits28(registers.device);
    return registers;
}

std::optional<Sense> parseFixed(Bytes bytes) {
    if (bytes.size() < 3)
        return std::nullopt;
    if (bytes.size() >= 8)
        bytes = slice(bytes, 0, std::size_t{8} + bytes[7]);
    Sense sense;
    sense.key = bytes[2] & 0x0F;
    // A device that returns fewer bytes than the codes need has told its key alone.
    sense.code = byteAt(bytes, 12);
    sense.qualifier = byteAt(bytes, 13);
    const bool ataInformation = sense.code == 0 && sense.qualifier == kAtaPassThroughInformation;
    if (ataInformation)
        sense.ata = parseFixedAtaReturn(bytes);
    else if ((bytes[0] & 0x80) != 0 && bytes.size() >= 7)
        sense.information = loadBigEndian<std::uint32_t>(bytes, 3);
    return sense;
}

std::optional<Sense> parseDescriptors(Bytes bytes) {
    if (bytes.size() < 4)
        return std::nullopt;
    Sense sense;
    sense.key = bytes[1] & 0x0F;
    sense.code = bytes[2];
    sense.qualifier = bytes[3];
    Bytes rest = slice(bytes, 8, byteAt(bytes, 7));
    while (rest.size() >= 2) {
        const std::size_t length = std::size_t{rest[1]} + 2;
        if (length > rest.size())
            break;
        if (rest[0] == kInformationDescriptor && length >= 12 && (rest[2] & 0x80) != 0)
            sense.information = loadBigEndian<std::uint64_t>(rest, 4);
        else if (rest[0] == kAtaReturnDescriptor && length >= 14)
            sense.ata = descriptorAtaReturn(rest);
        rest = rest.subspan(length);
    }
    return sense;
}

bool isTransportCode(std::uint8_t code) {
    // Loss of delivery (08), errors of a transfer, a message or a phase (1B, 43, 45, 47 to 4B), failure of
    // the host interface (54).
    return code == 0x08 || code == 0x1B || code == 0x43 || code == 0x45 || (code >= 0x47 && code <= 0x4B) ||
           code == 0x54;
}

/// A sector that does not fit the protection information beside it.
bool isFailedCheck(const Sense& sense) {
    return sense.code == 0x10 && sense.qualifier >= 0x01 && sense.qualifier <= 0x03;
}

_LIBDRIVE2_ERROR_TYPES causeOfNotReady(const Sense& sense) {
    switch (sense.code) {
        case 0x04:
            // Becoming ready, or an operation in progress: wait; else somebody has to act.
            return sense.qualifier == 0x02 || sense.qualifier == 0x03 || sense.qualifier == 0x12
                       ? LIBDRIVE2_NO_ACCESS
                       : LIBDRIVE2_BUSY;
        case 0x30:
            return LIBDRIVE2_MEDIA_ERROR;  // a medium that the drive cannot read at all
        case 0x3E:
            return sense.qualifier == 0x00 ? LIBDRIVE2_BUSY
                                           : LIBDRIVE2_DRIVE_ERROR;  // not configured yet; failed
        case 0x4C:
            return LIBDRIVE2_DRIVE_ERROR;  // failed its self-configuration
        default:
            // 3A among them: no medium
            return isTransportCode(sense.code) ? LIBDRIVE2_LINK_ERROR : LIBDRIVE2_NO_ACCESS;
    }
}

_LIBDRIVE2_ERROR_TYPES causeOfIllegalRequest(const Sense& sense) {
    switch (sense.code) {
        case 0x25:
            return LIBDRIVE2_NO_ACCESS;  // logical unit not supported
        case 0x20:
        case 0x22:
        case 0x24:
        case 0x26:
        case 0x39:
            return LIBDRIVE2_NOT_SUPPORTED;
        case 0x53:
            return LIBDRIVE2_BUSY;  // medium removal prevented
        default:
            return LIBDRIVE2_BAD_ARGUMENT;  // 21 among them: logical block address out of range
    }
}

_LIBDRIVE2_ERROR_TYPES causeOfUnitAttention(const Sense& sense) {
    // A changed medium is not the one that the test began with.
    return sense.code == 0x28 || sense.code == 0x3A ? LIBDRIVE2_NO_ACCESS : LIBDRIVE2_BUSY;
}

_LIBDRIVE2_ERROR_TYPES causeOf(const Sense& sense) {
    switch (sense.key) {
        case 0x0:
        case kSenseRecovered:
        case 0xF:  // completed
            return LIBDRIVE2_NO_ERROR;
        case kSenseNotReady:
            return causeOfNotReady(sense);
        case 0x3:
        case 0x8:  // blank check
        case 0xE:  // miscompare
            return LIBDRIVE2_MEDIA_ERROR;
        case kSenseIllegalRequest:
            return causeOfIllegalRequest(sense);
        case kSenseUnitAttention:
            return causeOfUnitAttention(sense);
        case 0x7:
            if (sense.code == 0x74)
                return LIBDRIVE2_NO_ACCESS;  // a locked device
            // 27/01 and 27/02 speak of the unit, the rest of the medium (SPC-4 annex F).
            return sense.code == 0x27 && (sense.qualifier == 0x01 || sense.qualifier == 0x02)
                       ? LIBDRIVE2_WRITE_PROTECTED_DEVICE
                       : LIBDRIVE2_WRITE_PROTECTED_MEDIUM;
        case 0x4:
        case 0xB:
            if (isFailedCheck(sense))
                return LIBDRIVE2_MEDIA_ERROR;
            return isTransportCode(sense.code) ? LIBDRIVE2_LINK_ERROR : LIBDRIVE2_DRIVE_ERROR;
        default:
            return LIBDRIVE2_DRIVE_ERROR;
    }
}

DeviceStatus statusOfByte(std::uint8_t status) {
    switch (status) {
        case kBusy:
        case kTaskSetFull:
        case kAcaActive:
            return {LIBDRIVE2_BUSY, zel::worded("the device is busy")};
        case kReservationConflict:
            return {LIBDRIVE2_BUSY, zel::worded("the device is reserved by another host")};
        case kTaskAborted:
            return {LIBDRIVE2_DRIVE_ERROR, "another host aborted the command"};
        default:
            return {LIBDRIVE2_DRIVE_ERROR,
                    "the device answered with the unknown status " + hexByte(status) + "h"};
    }
}

/// A unit attention comes instead of the command's execution, and so does a deferred error. Neither a reset
/// nor an earlier command that was recovered keeps this one from being done; a changed medium does.
bool isMereNews(const Sense& sense) {
    if (sense.deferred)
        return sense.key == 0 || sense.key == kSenseRecovered;
    return sense.key == kSenseUnitAttention && causeOfUnitAttention(sense) == LIBDRIVE2_BUSY;
}

}  // namespace

// Fixed format has room for some of the registers only (SAT-3 12.2.2.7).
AtaReturn parseFixedAtaReturn(Bytes bytes) {
    AtaReturn registers;
    registers.error = byteAt(bytes, 3);
    registers.status = byteAt(bytes, 4);
    registers.device = byteAt(bytes, 5);
    registers.count = byteAt(bytes, 6);
    registers.lba = std::uint64_t{byteAt(bytes, 9)} | std::uint64_t{byteAt(bytes, 10)} << 8 |
                    std::uint64_t{byteAt(bytes, 11)} << 16;
    const std::uint8_t flags = byteAt(bytes, 8);
    registers.truncated = (flags & 0x60) != 0;
    if ((flags & 0x80) == 0)
        registers.lba |= upperBits28(registers.device);
    return registers;
}

std::optional<Sense> parseSense(Bytes bytes) {
    const std::uint8_t format = byteAt(bytes, 0) & 0x7F;
    std::optional<Sense> sense;
    if (format == kFixedCurrent || format == kFixedDeferred)
        sense = parseFixed(bytes);
    else if (format == kDescriptorCurrent || format == kDescriptorDeferred)
        sense = parseDescriptors(bytes);
    if (sense)
        sense->deferred = format == kFixedDeferred || format == kDescriptorDeferred;
    return sense;
}

DeviceStatus statusOf(const Sense& sense) {
    const _LIBDRIVE2_ERROR_TYPES cause = causeOf(sense);
    if (cause == LIBDRIVE2_NO_ERROR)
        return {};
    return {cause, sense.deferred ? "an earlier command failed: " + describe(sense) : describe(sense)};
}

Bytes senseOf(const ScsiResponse& response) {
    return slice(response.sense, 0, response.senseBytes);
}

Outcome judge(const ScsiResponse& response) {
    Outcome outcome;
    outcome.status = response.delivery;
    outcome.transferredBytes = response.transferredBytes;
    if (!outcome.status.ok() || response.status == kGood || response.status == kConditionMet)
        return outcome;
    if (response.status != kCheckCondition) {
        outcome.status = statusOfByte(response.status);
        return outcome;
    }
    outcome.sense = parseSense(senseOf(response));
    if (!outcome.sense) {
        outcome.status = {LIBDRIVE2_DRIVE_ERROR, "the device reported an error without saying which"};
        return outcome;
    }
    outcome.status = statusOf(*outcome.sense);
    outcome.repeat = isMereNews(*outcome.sense);
    // The registers that a SAT layer returns on request are no news.
    if (outcome.sense->key == kSenseRecovered && !outcome.sense->ata)
        outcome.recovered = describe(*outcome.sense);
    return outcome;
}

}  // namespace libDrive2::scsi
