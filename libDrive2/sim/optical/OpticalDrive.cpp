#include "libDrive2/sim/optical/OpticalDrive.h"

#include <algorithm>

namespace libDrive2 {

namespace {

// What a command needs, or does.
constexpr std::uint8_t kMedium = 1;  ///< needs a medium that is ready
constexpr std::uint8_t kAnytime =
    2;  ///< is answered while an operation runs, and leaves unit attentions alone
constexpr std::uint8_t kChanges = 4;  ///< changes the medium

struct Entry {
    std::uint8_t opcode;
    optical::Handler* handler;
    std::uint8_t traits = 0;
};

constexpr Entry kCommands[] = {
    {0x00, optical::testUnitReady, kMedium},
    {0x03, optical::requestSense, kAnytime},
    {0x04, optical::formatUnit, kMedium | kChanges},
    {0x12, optical::inquiry, kAnytime},
    {0x1B, optical::startStopUnit},
    {0x1E, optical::preventAllowMediumRemoval},
    {0x23, optical::readFormatCapacities},
    {0x25, optical::readCapacity, kMedium},
    {0x28, optical::readSectors, kMedium},
    {0x2A, optical::writeSectors, kMedium | kChanges},
    {0x2B, optical::seekSector, kMedium},
    {0x2F, optical::verifySectors, kMedium},
    {0x35, optical::synchronizeCache, kMedium},
    {0x43, optical::readToc, kMedium},
    {0x46, optical::getConfiguration, kAnytime},
    {0x4A, optical::getEventStatusNotification, kAnytime},
    {0x51, optical::readDiscInformation, kMedium},
    {0x52, optical::readTrackInformation, kMedium},
    {0x53, optical::reserveTrack, kMedium | kChanges},
    {0x55, optical::modeSelect},
    {0x5A, optical::modeSense},
    {0x5B, optical::closeTrackSession, kMedium | kChanges},
    {0xA1, optical::blankDisc, kMedium | kChanges},
    {0xA8, optical::readSectors, kMedium},
    {0xAA, optical::writeSectors, kMedium | kChanges},
    {0xAC, optical::getPerformance, kMedium},
    {0xAD, optical::readDiscStructure, kMedium},
    {0xB6, optical::setStreaming, kMedium},
    {0xBB, optical::setCdSpeed, kMedium},
};

const Entry* findCommand(std::uint8_t opcode) {
    const auto* const found = std::ranges::find(kCommands, opcode, &Entry::opcode);
    return found != std::end(kCommands) ? found : nullptr;
}

}  // namespace

bool OpticalDrive::changesMedium(std::uint8_t opcode) {
    const Entry* const entry = findCommand(opcode);
    return entry != nullptr && (entry->traits & kChanges) != 0;
}

void OpticalDrive::answer(const ScsiRequest& request, ScsiResponse& response) {
    constexpr std::uint8_t kPacketBytes = 12;  // hosts pad CDBs to the length of ATAPI packets
    OpticalCommand command(request, response);
    m_unit.update();
    const Entry* const entry = findCommand(command.opcode());
    const std::uint8_t traits = entry != nullptr ? entry->traits : 0;
    if ((traits & kAnytime) == 0) {
        if (const std::uint16_t attention = m_unit.tray.takeUnitAttention(); attention != 0)
            return command.fail(
                {0x6, static_cast<std::uint8_t>(attention >> 8), static_cast<std::uint8_t>(attention)});
        if (m_unit.operation.isRunning())
            return command.failBusy(m_unit.operation);
    }
    if (entry == nullptr)
        return command.fail(kInvalidOpcode);
    if (request.cdbBytes != command.opcodeBytes() && request.cdbBytes != kPacketBytes)
        return command.fail(kInvalidField);
    const zel::Stopwatch watch;
    if ((traits & kMedium) == 0 || command.accept(m_unit.tray.notReady()))
        entry->handler(m_unit, command);
    if (m_unit.isStrict() && watch.elapsed() > command.timeout())
        command.expire();
    m_unit.update();
}

}  // namespace libDrive2
