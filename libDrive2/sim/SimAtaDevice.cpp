#include "libDrive2/sim/SimAtaDevice.h"

#include <algorithm>

#include "libDrive2/sim/SimAtaSmart.h"
#include "zel/Format.h"
#include "zel/Words.h"

namespace libDrive2 {

namespace {

// ACS-4, status and error registers. Bit 4 of the status is always set by drives of today.
constexpr std::uint8_t kReady = 0x50;
constexpr std::uint8_t kDeviceFault = 0x20;
constexpr std::uint8_t kErrorBit = 0x01;
constexpr std::uint8_t kUncorrectable = 0x40;
constexpr std::uint8_t kIdNotFound = 0x10;
constexpr std::uint8_t kAborted = 0x04;

constexpr std::uint8_t kLbaMode = 0x40;  // device register
constexpr std::uint8_t kErasePrepare = 0xF3;
constexpr std::uint8_t kSmart = 0xB0;

void fail(AtaResponse& response, std::uint8_t error, std::uint64_t lba = 0) {
    response.status = kReady | kErrorBit;
    response.error = error;
    response.lba = lba;
}

void finish(AtaResponse& response, const SimOutcome& outcome) {
    switch (outcome.fault) {
        case SimFault::none:
        case SimFault::recovered:  // the drive keeps it to itself
        case SimFault::gone:       // these two are met before a command begins
        case SimFault::busy:
            return;
        case SimFault::noMedium:
        case SimFault::locked:
        case SimFault::writeProtected:
            return fail(response, kAborted);
        case SimFault::beyondEnd:
            return fail(response, kIdNotFound, outcome.lba);
        case SimFault::unreadable:
        case SimFault::failedCheck:
        case SimFault::unseekable:
            return fail(response, kUncorrectable, outcome.lba);
        case SimFault::unwritable:
            response.status = kReady | kDeviceFault;
            response.lba = outcome.lba;
            return;
    }
}

/// The password behind word 0 of what a security command is given.
bool isPasswordRight(SimSecurity& security, const AtaRequest& request) {
    const auto* const data = static_cast<const std::uint8_t*>(request.data);
    constexpr std::uint8_t kMasterPasswordBit = 0x01;  // there is none
    return (data[0] & kMasterPasswordBit) == 0 && security.check(data + 2);
}

enum class Payload : std::uint8_t { none, oneBlock, sectors };

}  // namespace

struct SimAtaDevice::Entry {
    std::uint8_t command;
    AtaProtocol protocol;
    bool extended;
    DataDirection direction;
    Payload payload;
    bool addressesSectors;
    void (SimAtaDevice::*handler)(const AtaRequest& request, AtaResponse& response);
    std::uint16_t feature = 0;  ///< 0 for a command that is not told apart by it
};

const SimAtaDevice::Entry* SimAtaDevice::findCommand(const AtaTaskFile& registers) {
    using Self = SimAtaDevice;
    using enum AtaProtocol;
    constexpr auto kIn = DataDirection::fromDevice, kOut = DataDirection::toDevice,
                   kNone = DataDirection::none;
    static constexpr Entry kCommands[] = {
        {0x20, pioIn, false, kIn, Payload::sectors, true, &Self::readSectors},
        {0x24, pioIn, true, kIn, Payload::sectors, true, &Self::readSectors},
        {0x25, dma, true, kIn, Payload::sectors, true, &Self::readSectors},
        {0x30, pioOut, false, kOut, Payload::sectors, true, &Self::writeSectors},
        {0x34, pioOut, true, kOut, Payload::sectors, true, &Self::writeSectors},
        {0x35, dma, true, kOut, Payload::sectors, true, &Self::writeSectors},
        {0x3D, dma, true, kOut, Payload::sectors, true, &Self::writeSectors},
        {0x40, nonData, false, kNone, Payload::none, true, &Self::verifySectors},
        {0x42, nonData, true, kNone, Payload::none, true, &Self::verifySectors},
        {0x27, nonData, true, kNone, Payload::none, true, &Self::readNativeMax},
        {0x78, nonData, true, kNone, Payload::none, true, &Self::accessibleMax},
        // Which way the data goes depends on what is asked.
        {kSmart, pioIn, false, kIn, Payload::oneBlock, false, &Self::smartRead, 0xD0},
        {kSmart, pioIn, false, kIn, Payload::oneBlock, false, &Self::smartRead, 0xD1},
        {kSmart, pioIn, false, kIn, Payload::oneBlock, false, &Self::smartRead, 0xD5},
        {kSmart, nonData, false, kNone, Payload::none, false, &Self::smartAct, 0xD4},
        {kSmart, nonData, false, kNone, Payload::none, false, &Self::smartAct, 0xDA},
        {0xB1, pioIn, false, kIn, Payload::oneBlock, false, &Self::identifyConfiguration, 0xC2},
        {0xC8, dma, false, kIn, Payload::sectors, true, &Self::readSectors},
        {0xCA, dma, false, kOut, Payload::sectors, true, &Self::writeSectors},
        {0xE0, nonData, false, kNone, Payload::none, false, &Self::changePower},
        {0xE1, nonData, false, kNone, Payload::none, false, &Self::changePower},
        {0xE7, nonData, false, kNone, Payload::none, false, &Self::flushCache},
        {0xEA, nonData, true, kNone, Payload::none, false, &Self::flushCache},
        {0xEC, pioIn, false, kIn, Payload::oneBlock, false, &Self::identify},
        {0xF2, pioOut, false, kOut, Payload::oneBlock, false, &Self::securityUnlock},
        {kErasePrepare, nonData, false, kNone, Payload::none, false, &Self::securityErasePrepare},
        {0xF4, pioOut, false, kOut, Payload::oneBlock, false, &Self::securityEraseUnit},
        {0xF6, pioOut, false, kOut, Payload::oneBlock, false, &Self::securityDisablePassword},
    };
    const auto* const entry =
        std::find_if(std::begin(kCommands), std::end(kCommands), [&](const Entry& known) {
            return known.command == registers.command &&
                   (known.feature == 0 || known.feature == registers.feature);
        });
    return entry == std::end(kCommands) ? nullptr : entry;
}

SimAtaDevice::Extent SimAtaDevice::extentOf(const AtaRequest& request) {
    const AtaTaskFile& registers = request.registers;
    const std::uint32_t count = registers.count;
    if (request.extended)
        return {registers.lba, count == 0 ? 0x10000 : count};
    return {registers.lba | std::uint64_t{registers.device & 0x0FU} << 24, count == 0 ? 0x100 : count};
}

std::size_t SimAtaDevice::dataBytes(const AtaRequest& request, const Entry& entry) const {
    switch (entry.payload) {
        case Payload::none:
            return 0;
        case Payload::oneBlock:
            return sizeof(AtaSector);
        case Payload::sectors:
            break;
    }
    return std::size_t{extentOf(request).count} * m_medium->options().sectorBytes;
}

/// Empty when the request can be carried out as it stands.
zel::String SimAtaDevice::findHostFault(const AtaRequest& request, const Entry* entry) const {
    const AtaTaskFile& registers = request.registers;
    const std::uint64_t lbaEnd = std::uint64_t{1} << (request.extended ? 48 : 28);
    if (registers.lba >= lbaEnd ||
        (!request.extended && (registers.count > 0xFF || registers.feature > 0xFF)))
        return "the registers hold more than fits a command of this width";
    if (entry == nullptr)
        return {};
    if (request.protocol != entry->protocol || request.extended != entry->extended ||
        request.direction != entry->direction)
        return zel::format("the protocol, width or direction is not that of command %02Xh", entry->command);
    const std::size_t needed = dataBytes(request, *entry);
    if (needed > maxTransferBytes())
        return zel::format("one command transfers at most %u bytes", maxTransferBytes());
    if (request.dataBytes < needed)
        return zel::format("command %02Xh transfers %u bytes, but the buffer has %u", entry->command, needed,
                           request.dataBytes);
    return {};
}

AtaResponse SimAtaDevice::execute(const AtaRequest& request) {
    AtaResponse response;
    const Entry* const entry = findCommand(request.registers);
    if (zel::String fault = findHostFault(request, entry); !fault.isEmpty()) {
        response.delivery = {LIBDRIVE2_BAD_ARGUMENT, fault};
        return response;
    }
    const SimFault begun = m_medium->beginCommand().fault;
    if (begun == SimFault::gone)
        response.delivery = {LIBDRIVE2_NO_ACCESS, zel::worded("the device does not answer any more")};
    else if (begun == SimFault::busy)
        response.delivery = {LIBDRIVE2_BUSY, zel::worded("the device is busy")};
    if (!response.delivery.ok())
        return response;
    response.status = kReady;
    response.count = request.registers.count;
    response.lba = request.registers.lba;
    const bool lacksLba =
        entry != nullptr && entry->addressesSectors && (request.registers.device & kLbaMode) == 0;
    if (entry == nullptr || lacksLba)
        fail(response, kAborted);
    else
        (this->*entry->handler)(request, response);
    // An erase has to follow its preparation at once.
    if (request.registers.command != kErasePrepare)
        m_medium->state().security.prepareErase(false);
    return response;
}

void SimAtaDevice::identify(const AtaRequest& request, AtaResponse& /*response*/) {
    const AtaSector data = ataIdentifyData(*m_medium);
    std::copy(data.begin(), data.end(), static_cast<std::uint8_t*>(request.data));
}

void SimAtaDevice::readSectors(const AtaRequest& request, AtaResponse& response) {
    const Extent extent = extentOf(request);
    finish(response, m_medium->read(extent.lba, extent.count, static_cast<std::uint8_t*>(request.data)));
}

void SimAtaDevice::writeSectors(const AtaRequest& request, AtaResponse& response) {
    const Extent extent = extentOf(request);
    finish(response,
           m_medium->write(extent.lba, extent.count, static_cast<const std::uint8_t*>(request.data)));
}

void SimAtaDevice::verifySectors(const AtaRequest& request, AtaResponse& response) {
    const Extent extent = extentOf(request);
    finish(response, m_medium->verify(extent.lba, extent.count));
}

void SimAtaDevice::flushCache(const AtaRequest& /*request*/, AtaResponse& response) {
    finish(response, m_medium->flush());
}

/// The next command that needs the medium brings the drive back by itself.
void SimAtaDevice::changePower(const AtaRequest& /*request*/, AtaResponse& /*response*/) {}

void SimAtaDevice::smartRead(const AtaRequest& request, AtaResponse& response) {
    const auto data = ataSmartAnswer(request.registers, *m_medium);
    if (!data)
        return fail(response, kAborted);
    std::copy(data->begin(), data->end(), static_cast<std::uint8_t*>(request.data));
}

void SimAtaDevice::smartAct(const AtaRequest& request, AtaResponse& response) {
    if (!ataSmartAction(request.registers, *m_medium, response))
        fail(response, kAborted);
}

void SimAtaDevice::readNativeMax(const AtaRequest& /*request*/, AtaResponse& response) {
    const auto& hidden = m_medium->state().health->options().hpaSectors;
    if (!hidden)
        return fail(response, kAborted);
    response.lba = m_medium->options().sectors + *hidden - 1;
}

void SimAtaDevice::accessibleMax(const AtaRequest& request, AtaResponse& response) {
    const auto& hidden = m_medium->state().health->options().inaccessibleSectors;
    if (!hidden || request.registers.feature != 0)
        return fail(response, kAborted);
    response.lba = m_medium->options().sectors + *hidden - 1;
}

void SimAtaDevice::identifyConfiguration(const AtaRequest& request, AtaResponse& response) {
    if (!m_medium->state().health->options().dcoSectors)
        return fail(response, kAborted);
    const AtaSector data = ataConfigurationData(*m_medium);
    std::copy(data.begin(), data.end(), static_cast<std::uint8_t*>(request.data));
}

void SimAtaDevice::securityUnlock(const AtaRequest& request, AtaResponse& response) {
    SimSecurity& security = m_medium->state().security;
    if (!security.isEnabled() || !isPasswordRight(security, request))
        return fail(response, kAborted);
    security.unlock();
}

void SimAtaDevice::securityErasePrepare(const AtaRequest& /*request*/, AtaResponse& /*response*/) {
    m_medium->state().security.prepareErase(true);
}

void SimAtaDevice::securityEraseUnit(const AtaRequest& request, AtaResponse& response) {
    SimSecurity& security = m_medium->state().security;
    if (!security.isErasePrepared() || !security.isEnabled() || !isPasswordRight(security, request))
        return fail(response, kAborted);
    const SimOutcome outcome = m_medium->erase();
    finish(response, outcome);
    if (outcome.ok())
        security.disable();
}

void SimAtaDevice::securityDisablePassword(const AtaRequest& request, AtaResponse& response) {
    SimSecurity& security = m_medium->state().security;
    if (security.isLocked() || !security.isEnabled() || !isPasswordRight(security, request))
        return fail(response, kAborted);
    security.disable();
}

}  // namespace libDrive2
