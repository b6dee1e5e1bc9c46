#include "libDrive2/commands/NVMeCommands.h"

namespace libDrive2::nvme {

namespace {

// Opcodes, structures and log pages of NVM Express 1.4.
constexpr std::uint8_t kAdminGetLogPage = 0x02;
constexpr std::uint8_t kAdminIdentify = 0x06;
constexpr std::uint8_t kFlush = 0x00;
constexpr std::uint8_t kWrite = 0x01;
constexpr std::uint8_t kRead = 0x02;
constexpr std::uint8_t kVerify = 0x0C;
constexpr std::uint32_t kIdentifyNamespaceStructure = 0x00;
constexpr std::uint32_t kIdentifyControllerStructure = 0x01;
constexpr std::uint32_t kHealthLogPage = 0x02;
constexpr std::uint32_t kForceUnitAccess = 1U << 30;
constexpr std::uint32_t kFlushTimeoutMs = 120000;

NVMeCommand identify(std::uint32_t structure, std::uint32_t namespaceId) {
    NVMeCommand command;
    command.admin = true;
    command.opcode = kAdminIdentify;
    command.namespaceId = namespaceId;
    command.cdw10 = structure;
    command.direction = DataDirection::fromDevice;
    return command;
}

NVMeCommand blocks(std::uint8_t opcode, std::uint32_t namespaceId, std::uint64_t lba, std::uint32_t count,
                   DataDirection direction) {
    NVMeCommand command;
    command.opcode = opcode;
    command.namespaceId = namespaceId;
    command.cdw10 = static_cast<std::uint32_t>(lba & 0xFFFFFFFF);
    command.cdw11 = static_cast<std::uint32_t>(lba >> 32);
    command.cdw12 = (count - 1) & 0xFFFF;  // counted from 0
    command.direction = direction;
    return command;
}

}  // namespace

NVMeCommand identifyController() {
    return identify(kIdentifyControllerStructure, 0);
}

NVMeCommand identifyNamespace(std::uint32_t namespaceId) {
    return identify(kIdentifyNamespaceStructure, namespaceId);
}

NVMeCommand healthLog() {
    NVMeCommand command;
    command.admin = true;
    command.opcode = kAdminGetLogPage;
    command.namespaceId = kAllNamespaces;
    command.cdw10 = kHealthLogPage | (kHealthLogBytes / 4 - 1) << 16;
    command.direction = DataDirection::fromDevice;
    return command;
}

NVMeCommand read(std::uint32_t namespaceId, std::uint64_t lba, std::uint32_t count, bool forceUnitAccess) {
    NVMeCommand command = blocks(kRead, namespaceId, lba, count, DataDirection::fromDevice);
    command.cdw12 |= forceUnitAccess ? kForceUnitAccess : 0;
    return command;
}

NVMeCommand write(std::uint32_t namespaceId, std::uint64_t lba, std::uint32_t count, bool forceUnitAccess) {
    NVMeCommand command = blocks(kWrite, namespaceId, lba, count, DataDirection::toDevice);
    command.cdw12 |= forceUnitAccess ? kForceUnitAccess : 0;
    return command;
}

NVMeCommand verify(std::uint32_t namespaceId, std::uint64_t lba, std::uint32_t count) {
    return blocks(kVerify, namespaceId, lba, count, DataDirection::none);
}

NVMeCommand flush(std::uint32_t namespaceId) {
    NVMeCommand command;
    command.opcode = kFlush;
    command.namespaceId = namespaceId;
    command.timeoutMs = kFlushTimeoutMs;
    return command;
}

NVMeCommand withData(NVMeCommand command, void* data, std::size_t bytes) {
    command.data = data;
    command.dataBytes = bytes;
    return command;
}

}  // namespace libDrive2::nvme
