#include "libDrive2/bridges/BlockNVMeDevice.h"

#include "libDrive2/commands/NVMeCommands.h"
#include "zel/Buffer.h"

namespace libDrive2 {

namespace {

// Opcodes of the NVM command set (NVM Express 1.4).
constexpr std::uint8_t kFlush = 0x00;
constexpr std::uint8_t kWrite = 0x01;
constexpr std::uint8_t kRead = 0x02;
constexpr std::uint8_t kVerify = 0x0C;
constexpr std::uint32_t kForceUnitAccess = 1U << 30;

bool concernsSectors(const NVMeCommand& command) {
    return !command.admin && (command.opcode == kFlush || command.opcode == kWrite ||
                              command.opcode == kRead || command.opcode == kVerify);
}

}  // namespace

NVMeResponse BlockNVMeDevice::execute(const NVMeCommand& command) {
    if (!concernsSectors(command))
        return m_device->execute(command);
    if (!m_isRefused) {
        // Not by the drive, whose own words are in the status.
        NVMeResponse response = m_device->execute(command);
        m_isRefused = !response.delivery.ok();
        if (!m_isRefused)
            return response;
    }
    NVMeResponse response;
    response.delivery = move(command);
    return response;
}

DeviceStatus BlockNVMeDevice::move(const NVMeCommand& command) const {
    if (command.opcode == kFlush)
        return m_blocks->flush();
    const std::uint32_t sectorBytes = m_blocks->info().logicalSectorBytes;
    const std::uint64_t lba = std::uint64_t{command.cdw11} << 32 | command.cdw10;
    const std::size_t bytes = ((command.cdw12 & 0xFFFFU) + std::size_t{1}) * sectorBytes;
    if (command.opcode == kVerify) {
        zel::Buffer unwanted(bytes);
        return m_blocks->read(lba * sectorBytes, unwanted.data(), bytes);
    }
    if (command.dataBytes != bytes)
        return {LIBDRIVE2_BAD_ARGUMENT, "the namespace's sectors have another size for the system"};
    return command.opcode == kRead ? m_blocks->read(lba * sectorBytes, command.data, bytes)
                                   : write(lba * sectorBytes, command);
}

DeviceStatus BlockNVMeDevice::write(std::uint64_t offset, const NVMeCommand& command) const {
    DeviceStatus status = m_blocks->write(offset, command.data, command.dataBytes);
    return status.ok() && (command.cdw12 & kForceUnitAccess) != 0 ? m_blocks->flush() : status;
}

DeviceStatus BlockNVMeDevice::reopen() {
    DeviceStatus status = m_device->reopen();
    return status.ok() ? m_blocks->reopen() : status;
}

}  // namespace libDrive2
