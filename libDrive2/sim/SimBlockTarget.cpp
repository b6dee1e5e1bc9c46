#include "libDrive2/sim/SimBlockTarget.h"

#include <algorithm>
#include <limits>

#include "libDrive2/sim/SimBytes.h"

namespace libDrive2 {

namespace {

constexpr SimSense kStopped{0x2, 0x04, 0x02};
constexpr SimSense kRemovalPrevented{0x5, 0x53, 0x02};
constexpr SimSense kDataPhaseError{0xB, 0x4B, 0x00};

/// INQUIRY, REQUEST SENSE and REPORT LUNS leave a unit attention to the next command (SAM-5).
bool passesUnitAttention(std::uint8_t opcode) {
    return opcode == 0x12 || opcode == 0x03 || opcode == 0xA0;
}

SimSense unitAttentionSense(std::uint16_t code) {
    return {0x6, static_cast<std::uint8_t>(code >> 8), static_cast<std::uint8_t>(code)};
}

}  // namespace

bool SimBlockTarget::isWrite(std::uint8_t opcode) const {
    return opcode == 0x0A || opcode == 0x2A || opcode == 0x8A || opcode == 0xAA;
}

void SimBlockTarget::answer(const ScsiRequest& request, ScsiResponse& response) {
    SimScsiCommand command(request, response, medium().options().descriptorSense);
    if (reportUnitAttention(command))
        return;
    if (command.opcodeBytes() != 0 && !isCdbLength(command, request.cdbBytes))
        command.fail(kInvalidField);
    else if (!perform(command))
        command.fail(kInvalidOpcode);
}

bool SimBlockTarget::reportUnitAttention(SimScsiCommand& command) {
    std::uint16_t& code = m_medium->state().unitAttention;
    if (code == 0 || passesUnitAttention(command.opcode()))
        return false;
    command.fail(unitAttentionSense(code));
    code = 0;
    return true;
}

bool SimBlockTarget::isReady(SimScsiCommand& command) const {
    if (!medium().isPresent())
        command.fail(kNoMedium);
    else if (medium().state().stopped)
        command.fail(kStopped);
    else
        return true;
    return false;
}

void SimBlockTarget::testUnitReady(SimScsiCommand& command) {
    (void)isReady(command);
}

void SimBlockTarget::requestSense(SimScsiCommand& command) {
    constexpr std::uint8_t kDescriptorBit = 0x01;
    std::uint16_t& code = m_medium->state().unitAttention;
    SimSense sense = medium().isPresent() ? kNoSense : kNoMedium;
    if (code != 0)
        sense = unitAttentionSense(code);
    code = 0;
    command.answer(encodeSense(sense, std::nullopt, (command.byte(1) & kDescriptorBit) != 0),
                   command.byte(4));
}

void SimBlockTarget::startStopUnit(SimScsiCommand& command) {
    constexpr std::uint8_t kStartBit = 0x01;
    constexpr std::uint8_t kLoadEjectBit = 0x02;
    const bool start = (command.byte(4) & kStartBit) != 0;
    if ((command.byte(4) & kLoadEjectBit) != 0)
        return moveMedium(command, start);
    m_medium->state().stopped = !start;
}

void SimBlockTarget::moveMedium(SimScsiCommand& command, bool load) {
    SimDriveState& state = m_medium->state();
    if (!medium().options().removable)
        return command.fail(kInvalidField);
    if (!load && state.removalPrevented)
        return command.fail(kRemovalPrevented);
    if (load)
        m_medium->load();
    else
        m_medium->eject();
    state.stopped = false;
}

void SimBlockTarget::preventAllowMediumRemoval(SimScsiCommand& command) {
    constexpr std::uint8_t kPreventMask = 0x03;
    if (!medium().options().removable)
        return command.fail(kInvalidOpcode);
    if ((command.byte(4) & kPreventMask) > 1)
        return command.fail(kInvalidField);
    m_medium->state().removalPrevented = (command.byte(4) & kPreventMask) == 1;
}

void SimBlockTarget::readCapacity10(SimScsiCommand& command) {
    constexpr std::uint64_t kTooMany = std::numeric_limits<std::uint32_t>::max();
    if (!isReady(command))
        return;
    // Without PMI, which is obsolete, the LBA has to be 0.
    if (command.field(2, 4) != 0 || (command.byte(8) & 0x01) != 0)
        return command.fail(kInvalidField);
    std::vector<std::uint8_t> bytes(8);
    putBigEndian(bytes.data(), 4, std::min(medium().options().sectors - 1, kTooMany));
    putBigEndian(&bytes[4], 4, medium().options().sectorBytes);
    command.answer(bytes, bytes.size());
}

bool SimBlockTarget::isTransferable(SimScsiCommand& command) const {
    constexpr std::uint8_t kProtectMask = 0xE0;  // protection information, which no model has
    constexpr std::uint8_t kCacheMask = 0x18;    // DPO and FUA
    const SimScsiCommand::Extent extent = command.extent();
    const std::uint8_t flags = command.opcodeBytes() == 6 ? 0 : command.byte(1);
    const bool tooLong = std::uint64_t{extent.count} * medium().options().sectorBytes > maxTransferBytes();
    if (!isReady(command))
        return false;
    if ((flags & kProtectMask) != 0 || ((flags & kCacheMask) != 0 && !supportsFua()) || tooLong) {
        command.fail(kInvalidField);
        return false;
    }
    const SimOutcome access = medium().checkAccess(extent.lba, extent.count);
    command.finish(access);
    return access.ok();
}

void SimBlockTarget::readSectors(SimScsiCommand& command) {
    if (!isTransferable(command))
        return;
    const auto [lba, count] = command.extent();
    const std::size_t sectorBytes = medium().options().sectorBytes;
    const std::size_t taken =
        std::min<std::size_t>(count, command.bufferBytes(DataDirection::fromDevice) / sectorBytes);
    const SimOutcome outcome = m_medium->read(lba, static_cast<std::uint32_t>(taken), command.buffer());
    command.setTransferred((outcome.ok() ? taken : outcome.lba - lba) * sectorBytes);
    command.finish(outcome);
}

void SimBlockTarget::writeSectors(SimScsiCommand& command) {
    if (!isTransferable(command))
        return;
    const auto [lba, count] = command.extent();
    const std::size_t sectorBytes = medium().options().sectorBytes;
    const std::size_t given =
        std::min<std::size_t>(count, command.bufferBytes(DataDirection::toDevice) / sectorBytes);
    const SimOutcome outcome = m_medium->write(lba, static_cast<std::uint32_t>(given), command.buffer());
    if (outcome.ok() || outcome.fault == SimFault::unwritable)
        command.setTransferred((outcome.ok() ? given : outcome.lba - lba) * sectorBytes);
    command.finish(outcome);
    if (outcome.ok() && given < count)
        command.fail(kDataPhaseError);
}

void SimBlockTarget::verifySectors(SimScsiCommand& command) {
    constexpr std::uint8_t kByteCheckMask = 0x06;
    constexpr std::uint8_t kProtectMask = 0xE0;
    if (!isReady(command))
        return;
    if ((command.byte(1) & (kByteCheckMask | kProtectMask)) != 0)
        return command.fail(kInvalidField);
    const auto [lba, count] = command.extent();
    SimOutcome outcome = m_medium->verify(lba, count);
    // A sector that the head does not find is one that cannot be read.
    if (outcome.fault == SimFault::unseekable)
        outcome.fault = SimFault::unreadable;
    command.finish(outcome);
}

void SimBlockTarget::seekSector(SimScsiCommand& command) {
    if (isReady(command))
        command.finish(m_medium->seek(command.field(2, 4)));
}

void SimBlockTarget::synchronizeCache(SimScsiCommand& command) {
    const auto [lba, count] = command.extent();
    if (!isReady(command))
        return;
    const SimOutcome access = medium().checkAccess(lba, count);
    command.finish(access.ok() ? m_medium->flush() : access);
}

}  // namespace libDrive2
