#include "libDrive2/windows/WindowsAtaDevice.h"

#include <algorithm>

#include "libDrive2/commands/AtaCommands.h"
#include "libDrive2/windows/SystemError.h"
#include "libDrive2/windows/answers/DiskAnswers.h"
#include "libDrive2/windows/answers/PassThroughAnswers.h"
#include "zel/Words.h"
#include "zel/windows/DeviceQuery.h"

namespace libDrive2 {

namespace {

constexpr std::uint8_t kStatusFailed = 0x21;  ///< device fault, error
constexpr std::uint8_t kStatusReady = 0x40;

USHORT flagsOf(const AtaRequest& request, const CommandData& data) {
    unsigned flags = ATA_FLAGS_DRDY_REQUIRED;
    if (data.data() != nullptr)
        flags |= request.direction == DataDirection::toDevice ? ATA_FLAGS_DATA_OUT : ATA_FLAGS_DATA_IN;
    if (request.protocol == AtaProtocol::dma)
        flags |= ATA_FLAGS_USE_DMA;
    if (request.extended)
        flags |= ATA_FLAGS_48BIT_COMMAND;
    return static_cast<USHORT>(flags);
}

/// The registers in the order of the task file; of 48-bit commands, what is written first to each of them.
void putRegisters(const AtaRequest& request, ATA_PASS_THROUGH_DIRECT& command) {
    const AtaTaskFile& registers = request.registers;
    const auto byteOf = [](std::uint64_t value, unsigned shift) {
        return static_cast<UCHAR>(value >> shift & 0xFF);
    };
    const UCHAR now[] = {byteOf(registers.feature, 0),
                         byteOf(registers.count, 0),
                         byteOf(registers.lba, 0),
                         byteOf(registers.lba, 8),
                         byteOf(registers.lba, 16),
                         registers.device,
                         registers.command};
    std::ranges::copy(now, command.CurrentTaskFile);
    if (!request.extended)
        return;
    const UCHAR before[] = {byteOf(registers.feature, 8), byteOf(registers.count, 8),
                            byteOf(registers.lba, 24), byteOf(registers.lba, 32), byteOf(registers.lba, 40)};
    std::ranges::copy(before, command.PreviousTaskFile);
}

ATA_PASS_THROUGH_DIRECT passThroughOf(const AtaRequest& request, const CommandData& data) {
    ATA_PASS_THROUGH_DIRECT command{};
    command.Length = sizeof command;
    command.AtaFlags = flagsOf(request, data);
    command.DataTransferLength = static_cast<ULONG>(data.bytes());
    command.DataBuffer = data.data();
    command.TimeOutValue = wholeSeconds(request.timeoutMs);
    putRegisters(request, command);
    return command;
}

AtaResponse responseOf(const windows::AtaCompletion& completion, std::size_t dataBytes) {
    AtaResponse response{{}, completion.status, completion.error, completion.count, completion.lba};
    if (response.status == 0 && response.error == 0)
        response.status = kStatusReady;  // drivers that tell no registers of a success
    if ((response.status & kStatusFailed) == 0 && completion.transferredBytes < dataBytes)
        response.delivery = partlyTransferred(completion.transferredBytes, dataBytes);
    return response;
}

}  // namespace

std::unique_ptr<WindowsAtaDevice> WindowsAtaDevice::open(const zel::String& path, DeviceStatus& status) {
    PassThroughDevice opened(path);
    status = opened.open();
    if (!status.ok())
        return nullptr;
    std::unique_ptr<WindowsAtaDevice> device(new WindowsAtaDevice(std::move(opened)));
    status = device->identify();
    return device->m_initialized ? std::move(device) : nullptr;
}

AtaResponse WindowsAtaDevice::execute(const AtaRequest& request) {
    AtaResponse response;
    if (response.delivery = checkDataBytes(request.dataBytes); !response.delivery.ok())
        return response;
    const CommandData data(request.data, request.dataBytes, request.direction, m_device.alignment());
    ATA_PASS_THROUGH_DIRECT command = passThroughOf(request, data);
    Bytes answer;
    response.delivery = m_device.exchange(IOCTL_ATA_PASS_THROUGH_DIRECT, &command, sizeof command, answer);
    if (!response.delivery.ok())
        return response;
    data.deliver();
    const auto completion =
        windows::parseAtaCompletion(answer, request.extended, static_cast<std::uint32_t>(data.bytes()));
    if (completion)
        return responseOf(*completion, data.bytes());
    response.delivery = answerCutOff();
    return response;
}

/// The system must show the same size: a driver that hides sectors, or makes up an identity, would have the
/// ATA commands reach others than those that the system knows by their numbers.
DeviceStatus WindowsAtaDevice::identify() {
    std::uint8_t data[ata::kSectorOfAnswer] = {};
    const AtaResponse answer = execute(ata::withData(ata::identifyDevice(), data, sizeof data));
    DeviceStatus status = ata::statusOf(answer);
    const auto identity = status.ok() ? ata::parseIdentity(data) : std::nullopt;
    m_initialized = identity && identity->isAta && identity->sectors != 0;
    const auto bytes = windows::parseLength(zel::askDevice(m_device.handle(), IOCTL_DISK_GET_LENGTH_INFO));
    m_emulated = m_initialized && bytes && *bytes != identity->sectors * identity->sectorBytes;
    if (status.ok() && !m_initialized)
        status = {LIBDRIVE2_NOT_SUPPORTED, zel::worded("it does not identify itself as an ATA drive")};
    return status;
}

DeviceStatus WindowsAtaDevice::reopen() {
    DeviceStatus status = m_device.open();
    if (status.ok())
        (void)identify();
    return status;
}

}  // namespace libDrive2
