#include "libDrive2/sim/SimNVMeDevice.h"

#include <algorithm>

#include "libDrive2/sim/SimNVMePages.h"
#include "zel/Format.h"
#include "zel/Words.h"

namespace libDrive2 {

namespace {

// Status field without the phase tag: status code in bits 0 to 7, its type in 8 to 10, do not retry in 14.
constexpr std::uint16_t kDoNotRetry = 0x4000;
constexpr std::uint16_t kInvalidOpcode = kDoNotRetry | 0x001;
constexpr std::uint16_t kInvalidField = kDoNotRetry | 0x002;
constexpr std::uint16_t kInvalidNamespace = kDoNotRetry | 0x00B;
constexpr std::uint16_t kWriteProtected = kDoNotRetry | 0x020;
constexpr std::uint16_t kBeyondEnd = kDoNotRetry | 0x080;
constexpr std::uint16_t kNotReady = 0x082;
constexpr std::uint16_t kInvalidLogPage = kDoNotRetry | 0x109;
constexpr std::uint16_t kSelfTestInProgress = kDoNotRetry | 0x11D;
constexpr std::uint16_t kWriteFault = 0x280;
constexpr std::uint16_t kUnrecoveredRead = 0x281;

std::uint16_t statusOf(const SimOutcome& outcome) {
    switch (outcome.fault) {
        case SimFault::none:
        case SimFault::recovered:  // the drive keeps it to itself
        case SimFault::gone:       // met before a command begins
            break;
        case SimFault::busy:
        case SimFault::noMedium:
        case SimFault::locked:
            return kNotReady;
        case SimFault::beyondEnd:
            return kBeyondEnd;
        case SimFault::writeProtected:
            return kWriteProtected;
        case SimFault::unreadable:
        case SimFault::failedCheck:
        case SimFault::unseekable:
            return kUnrecoveredRead;
        case SimFault::unwritable:
            return kWriteFault;
    }
    return 0;
}

std::uint64_t startingLba(const NVMeCommand& command) {
    return std::uint64_t{command.cdw11} << 32 | command.cdw10;
}

/// The field counts from 0.
std::uint32_t sectorCount(const NVMeCommand& command) {
    return (command.cdw12 & 0xFFFF) + 1;
}

std::uint64_t logBytes(const NVMeCommand& command) {
    const std::uint64_t dwords = (std::uint64_t{command.cdw11 & 0xFFFF} << 16 | command.cdw10 >> 16) + 1;
    return dwords * 4;
}

enum class Payload : std::uint8_t { none, identify, log, sectors };

}  // namespace

struct SimNVMeDevice::Entry {
    bool admin;
    std::uint8_t opcode;
    DataDirection direction;
    Payload payload;
    Status (SimNVMeDevice::*handler)(const NVMeCommand& command);
};

const SimNVMeDevice::Entry* SimNVMeDevice::findCommand(const NVMeCommand& command) {
    using Self = SimNVMeDevice;
    static constexpr Entry kCommands[] = {
        {true, 0x02, DataDirection::fromDevice, Payload::log, &Self::getLogPage},
        {true, 0x14, DataDirection::none, Payload::none, &Self::testItself},
        {true, 0x06, DataDirection::fromDevice, Payload::identify, &Self::identify},
        {false, 0x00, DataDirection::none, Payload::none, &Self::flush},
        {false, 0x01, DataDirection::toDevice, Payload::sectors, &Self::write},
        {false, 0x02, DataDirection::fromDevice, Payload::sectors, &Self::read},
        {false, 0x0C, DataDirection::none, Payload::none, &Self::verify},
    };
    const auto* const entry = std::find_if(
        std::begin(kCommands), std::end(kCommands),
        [&](const Entry& known) { return known.admin == command.admin && known.opcode == command.opcode; });
    return entry == std::end(kCommands) ? nullptr : entry;
}

/// Empty when the command can be carried out as it stands: a controller takes buffers on trust.
zel::String SimNVMeDevice::findHostFault(const NVMeCommand& command, const Entry& entry) const {
    std::uint64_t needed = 0;
    if (entry.payload == Payload::identify)
        needed = sizeof(NVMeIdentifyData);
    else if (entry.payload == Payload::log)
        needed = logBytes(command);
    else if (entry.payload == Payload::sectors)
        needed = std::uint64_t{sectorCount(command)} * m_medium->options().sectorBytes;
    if (command.direction != entry.direction)
        return zel::format("the direction is not that of command %02Xh", entry.opcode);
    if (command.dataBytes < needed)
        return zel::format("command %02Xh transfers %u bytes, but the buffer has %u", entry.opcode, needed,
                           command.dataBytes);
    return {};
}

NVMeResponse SimNVMeDevice::execute(const NVMeCommand& command) {
    NVMeResponse response;
    const Entry* const entry = findCommand(command);
    if (zel::String fault = entry != nullptr ? findHostFault(command, *entry) : zel::String();
        !fault.isEmpty()) {
        response.delivery = {LIBDRIVE2_BAD_ARGUMENT, fault};
        return response;
    }
    const SimOutcome begun = m_medium->beginCommand();
    if (begun.fault == SimFault::gone)
        response.delivery = {LIBDRIVE2_NO_ACCESS, zel::worded("the device does not answer any more")};
    else if (!begun.ok())
        response.status = statusOf(begun);
    else if (entry == nullptr)
        response.status = kInvalidOpcode;
    else if (!command.admin && command.namespaceId != namespaceId())
        response.status = kInvalidNamespace;
    else if (entry->payload == Payload::sectors && command.dataBytes > maxTransferBytes())
        response.status = kInvalidField;
    else
        response.status = (this->*entry->handler)(command);
    return response;
}

SimNVMeDevice::Status SimNVMeDevice::identify(const NVMeCommand& command) {
    constexpr std::uint32_t kNamespace = 0x00;
    constexpr std::uint32_t kController = 0x01;
    const std::uint32_t structure = command.cdw10 & 0xFF;
    if (structure != kNamespace && structure != kController)
        return kInvalidField;
    if (structure == kNamespace && command.namespaceId != namespaceId())
        return kInvalidNamespace;
    const NVMeIdentifyData data =
        structure == kNamespace ? nvmeNamespaceData(*m_medium) : nvmeControllerData(*m_medium);
    std::copy(data.begin(), data.end(), static_cast<std::uint8_t*>(command.data));
    return 0;
}

SimNVMeDevice::Status SimNVMeDevice::getLogPage(const NVMeCommand& command) {
    constexpr std::uint32_t kHealth = 0x02;
    constexpr std::uint32_t kAllNamespaces = 0xFFFFFFFF;
    const std::uint64_t offset = std::uint64_t{command.cdw13} << 32 | command.cdw12;
    constexpr std::uint32_t kSelfTests = 0x06;
    const std::uint32_t page = command.cdw10 & 0xFF;
    if (page != kHealth && page != kSelfTests)
        return kInvalidLogPage;
    if (command.namespaceId != 0 && command.namespaceId != namespaceId() &&
        command.namespaceId != kAllNamespaces)
        return kInvalidNamespace;
    const auto send = [&](const auto& log) -> Status {
        if (offset % 4 != 0 || offset > log.size())
            return kInvalidField;
        std::copy_n(log.begin() + static_cast<std::ptrdiff_t>(offset),
                    std::min(logBytes(command), log.size() - offset),
                    static_cast<std::uint8_t*>(command.data));
        return 0;
    };
    return page == kHealth ? send(nvmeSmartLog(*m_medium)) : send(nvmeSelfTestLog(*m_medium));
}

SimNVMeDevice::Status SimNVMeDevice::testItself(const NVMeCommand& command) {
    constexpr std::uint32_t kAllNamespaces = 0xFFFFFFFF;
    constexpr std::uint32_t kShort = 0x1;
    constexpr std::uint32_t kExtended = 0x2;
    constexpr std::uint32_t kAbort = 0xF;
    if (command.namespaceId != 0 && command.namespaceId != namespaceId() &&
        command.namespaceId != kAllNamespaces)
        return kInvalidNamespace;
    SimHealth& health = *m_medium->state().health;
    const std::uint32_t code = command.cdw10 & 0x0F;
    if (code == kAbort) {
        (void)health.abortSelfTest();
        return 0;
    }
    if (code != kShort && code != kExtended)
        return kInvalidField;
    const SelfTestKind kind = code == kShort ? SelfTestKind::shortTest : SelfTestKind::extendedTest;
    return health.startSelfTest(kind, m_medium->firstBad()) ? Status{0} : kSelfTestInProgress;
}

SimNVMeDevice::Status SimNVMeDevice::flush(const NVMeCommand& /*command*/) {
    return statusOf(m_medium->flush());
}

SimNVMeDevice::Status SimNVMeDevice::write(const NVMeCommand& command) {
    return statusOf(m_medium->write(startingLba(command), sectorCount(command),
                                    static_cast<const std::uint8_t*>(command.data)));
}

SimNVMeDevice::Status SimNVMeDevice::read(const NVMeCommand& command) {
    return statusOf(
        m_medium->read(startingLba(command), sectorCount(command), static_cast<std::uint8_t*>(command.data)));
}

SimNVMeDevice::Status SimNVMeDevice::verify(const NVMeCommand& command) {
    return statusOf(m_medium->verify(startingLba(command), sectorCount(command)));
}

}  // namespace libDrive2
