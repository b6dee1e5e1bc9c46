#include "libDrive2/windows/WindowsNVMeDevice.h"

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

#include "libDrive2/DeviceProvider.h"
#include "libDrive2/commands/Bytes.h"
#include "libDrive2/commands/NVMeCommands.h"
#include "libDrive2/windows/SystemError.h"
#include "libDrive2/windows/answers/PassThroughAnswers.h"
#include "zel/Words.h"
#include "zel/windows/DeviceQuery.h"

namespace libDrive2 {

namespace {

constexpr std::uint8_t kAdminGetLogPage = 0x02;
constexpr std::uint8_t kAdminIdentify = 0x06;

// winioctl.h: properties, kinds of data, and the commands of a protocol.
constexpr std::uint32_t kAdapterProtocolProperty = 49;
constexpr std::uint32_t kDeviceProtocolProperty = 50;
constexpr std::uint32_t kProtocolNVMe = 3;
constexpr std::uint32_t kDataIdentify = 1;
constexpr std::uint32_t kDataLogPage = 2;
constexpr std::uint32_t kStructureVersion = 1;
constexpr std::uint32_t kAdapterRequest = 0x80000000;
constexpr std::uint32_t kAdminCommand = 1;
constexpr std::uint32_t kNvmCommand = 2;

constexpr std::size_t kQueryHeader = 8;      ///< of STORAGE_PROPERTY_QUERY, before its parameters
constexpr std::size_t kSpecificBytes = 40;   ///< STORAGE_PROTOCOL_SPECIFIC_DATA
constexpr std::size_t kProtocolHeader = 80;  ///< of STORAGE_PROTOCOL_COMMAND, before its command
constexpr std::size_t kProtocolBytes = 84;   ///< its size, which ends with one byte of the command
constexpr std::size_t kNVMeCommandBytes = 64;
constexpr std::size_t kErrorInfoBytes = 64;
constexpr std::size_t kErrorInfoAt = kProtocolHeader + kNVMeCommandBytes;
constexpr std::size_t kDataAt = kErrorInfoAt + kErrorInfoBytes;

/// STORAGE_PROPERTY_QUERY with STORAGE_PROTOCOL_SPECIFIC_DATA, and room for the data.
std::vector<std::uint8_t> queryOf(const NVMeCommand& command) {
    std::vector<std::uint8_t> query(kQueryHeader + kSpecificBytes + command.dataBytes);
    const auto put = [&query](std::size_t at, std::uint32_t value) { storeLittleEndian(query, at, value); };
    const bool isIdentify = command.opcode == kAdminIdentify;
    const std::uint32_t what = command.cdw10 & 0xFF;
    const bool ofController = isIdentify && what != 0;
    put(0, ofController ? kAdapterProtocolProperty : kDeviceProtocolProperty);
    put(8, kProtocolNVMe);
    put(12, isIdentify ? kDataIdentify : kDataLogPage);
    put(16, what);
    // Of a namespace's identity, which; of a log page, the offset to begin at.
    put(20, isIdentify ? (ofController ? 0 : command.namespaceId) : command.cdw12);
    put(24, static_cast<std::uint32_t>(kSpecificBytes));
    put(28, static_cast<std::uint32_t>(command.dataBytes));
    put(36, isIdentify ? 0 : command.cdw13);
    return query;
}

/// STORAGE_PROTOCOL_COMMAND with the command in its common format, room for the error information, the data.
std::vector<std::uint8_t> protocolCommandOf(const NVMeCommand& command) {
    std::vector<std::uint8_t> sent(kDataAt + command.dataBytes);
    const auto put = [&sent](std::size_t at, std::uint64_t value) {
        storeLittleEndian(sent, at, static_cast<std::uint32_t>(value));
    };
    const bool toDevice = command.direction == DataDirection::toDevice;
    put(0, kStructureVersion);
    put(4, kProtocolBytes);
    put(8, kProtocolNVMe);
    put(12, command.admin ? kAdapterRequest : 0);
    put(24, kNVMeCommandBytes);
    put(28, kErrorInfoBytes);
    put(32, toDevice ? command.dataBytes : 0);
    put(36, toDevice ? 0 : command.dataBytes);
    put(40, wholeSeconds(command.timeoutMs));
    put(44, kErrorInfoAt);
    put(48, toDevice && command.dataBytes != 0 ? kDataAt : 0);
    put(52, !toDevice && command.dataBytes != 0 ? kDataAt : 0);
    put(56, command.admin ? kAdminCommand : kNvmCommand);
    put(kProtocolHeader, command.opcode);
    put(kProtocolHeader + 4, command.namespaceId);
    const std::uint32_t words[] = {command.cdw10, command.cdw11, command.cdw12,
                                   command.cdw13, command.cdw14, command.cdw15};
    for (std::size_t i = 0; i < std::size(words); ++i)
        put(kProtocolHeader + 40 + 4 * i, words[i]);
    if (toDevice && command.data != nullptr)
        std::memcpy(sent.data() + kDataAt, command.data, command.dataBytes);
    return sent;
}

/// STORAGE_PROTOCOL_STATUS_…, where the drive itself did not say what is wrong.
DeviceStatus statusOfProtocol(std::uint32_t status) {
    const auto code = [status](const char* text) {
        return zel::worded("{problem} (protocol status {n})",
                           {{"problem", zel::worded(text)}, {"n", status}});
    };
    switch (status) {
        case 0x01:  // SUCCESS
            return {};
        case 0x03:  // INVALID_REQUEST
        case 0xFF:  // NOT_SUPPORTED
            return {LIBDRIVE2_NOT_SUPPORTED,
                    code(zel::marked("Windows does not let this NVMe command through"))};
        case 0x04:  // NO_DEVICE
            return {LIBDRIVE2_NO_ACCESS, code(zel::marked("the device cannot be reached"))};
        case 0x05:  // BUSY
        case 0x07:  // INSUFFICIENT_RESOURCES
        case 0x08:  // THROTTLED_REQUEST
            return {LIBDRIVE2_BUSY, code(zel::marked("the device is busy"))};
        default:
            return {LIBDRIVE2_LINK_ERROR, code(zel::marked("the command was lost between host and device"))};
    }
}

void takeData(Bytes data, const NVMeCommand& command, NVMeResponse& response) {
    if (data.size() < command.dataBytes)
        response.delivery = partlyTransferred(data.size(), command.dataBytes);
    else if (command.data != nullptr)
        std::copy_n(data.begin(), command.dataBytes, static_cast<std::uint8_t*>(command.data));
}

NVMeResponse undelivered(DeviceStatus delivery) {
    NVMeResponse response;
    response.delivery = std::move(delivery);
    return response;
}

bool isQuery(const NVMeCommand& command) {
    return command.admin && command.direction == DataDirection::fromDevice &&
           (command.opcode == kAdminIdentify || command.opcode == kAdminGetLogPage);
}

}  // namespace

std::unique_ptr<WindowsNVMeDevice> WindowsNVMeDevice::open(const zel::String& path) {
    std::unique_ptr<WindowsNVMeDevice> device(new WindowsNVMeDevice(PassThroughDevice(path)));
    if (const DeviceStatus status = device->reopen(); !status.ok()) {
        noteOpenError(zel::worded("{path} cannot be opened for NVMe commands: {reason}",
                                  {{"path", path}, {"reason", status.text}}));
        return nullptr;
    }
    return device;
}

/// The system's driver shows the namespaces of a controller as the logical units behind it.
DeviceStatus WindowsNVMeDevice::reopen() {
    if (DeviceStatus status = m_device.open(); !status.ok())
        return status;
    const auto unit = windows::parseLogicalUnit(zel::askDevice(m_device.handle(), IOCTL_SCSI_GET_ADDRESS));
    m_namespaceId = unit.value_or(0) + 1U;
    std::vector<std::uint8_t> identity(nvme::kIdentifyBytes);
    DeviceStatus asked =
        execute(nvme::withData(nvme::identifyController(), identity.data(), identity.size())).delivery;
    if (asked.type == LIBDRIVE2_NOT_SUPPORTED || asked.type == LIBDRIVE2_BAD_ARGUMENT)
        return {LIBDRIVE2_NOT_SUPPORTED, zel::worded("it is no NVMe namespace")};
    return asked;
}

NVMeResponse WindowsNVMeDevice::execute(const NVMeCommand& command) {
    if (DeviceStatus status = checkDataBytes(command.dataBytes); !status.ok())
        return undelivered(std::move(status));
    return isQuery(command) ? query(command) : send(command);
}

NVMeResponse WindowsNVMeDevice::query(const NVMeCommand& command) const {
    std::vector<std::uint8_t> asked = queryOf(command);
    Bytes answer;
    if (DeviceStatus status =
            m_device.exchange(IOCTL_STORAGE_QUERY_PROPERTY, asked.data(), asked.size(), answer);
        !status.ok())
        return undelivered(std::move(status));
    const auto found = windows::parseProtocolData(answer);
    if (!found)
        return undelivered(answerCutOff());
    NVMeResponse response;
    response.result = found->fixedData;
    takeData(found->data, command, response);
    return response;
}

NVMeResponse WindowsNVMeDevice::send(const NVMeCommand& command) const {
    std::vector<std::uint8_t> sent = protocolCommandOf(command);
    Bytes answer;
    if (DeviceStatus status =
            m_device.exchange(IOCTL_STORAGE_PROTOCOL_COMMAND, sent.data(), sent.size(), answer);
        !status.ok())
        return undelivered(std::move(status));
    const auto completion = windows::parseProtocolCompletion(answer);
    if (!completion)
        return undelivered(answerCutOff());
    NVMeResponse response;
    response.result = completion->result;
    response.status = completion->nvmeStatus;
    if (response.status != 0)
        return response;
    response.delivery = statusOfProtocol(completion->returnStatus);
    if (response.delivery.ok() && command.direction == DataDirection::fromDevice)
        takeData(slice(answer, kDataAt, command.dataBytes), command, response);
    return response;
}

}  // namespace libDrive2
