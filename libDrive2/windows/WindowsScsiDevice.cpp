#include "libDrive2/windows/WindowsScsiDevice.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "libDrive2/DeviceProvider.h"
#include "libDrive2/commands/ScsiCommands.h"
#include "libDrive2/windows/answers/PassThroughAnswers.h"
#include "zel/Words.h"

namespace libDrive2 {

namespace {

/// A command with its sense data behind it, as drivers want them.
struct PassThrough {
    SCSI_PASS_THROUGH_DIRECT header{};
    std::array<std::uint8_t, 252> sense{};
};

UCHAR directionOf(const CommandData& data, DataDirection direction) {
    if (data.data() == nullptr)
        return SCSI_IOCTL_DATA_UNSPECIFIED;
    return direction == DataDirection::toDevice ? SCSI_IOCTL_DATA_OUT : SCSI_IOCTL_DATA_IN;
}

PassThrough passThroughOf(const ScsiRequest& request, const CommandData& data) {
    PassThrough command;
    SCSI_PASS_THROUGH_DIRECT& header = command.header;
    header.Length = sizeof header;
    header.CdbLength = request.cdbBytes;
    header.SenseInfoLength = static_cast<UCHAR>(command.sense.size());
    header.SenseInfoOffset = offsetof(PassThrough, sense);
    header.DataIn = directionOf(data, request.direction);
    header.DataTransferLength = static_cast<ULONG>(data.bytes());
    header.DataBuffer = data.data();
    header.TimeOutValue = wholeSeconds(request.timeoutMs);
    std::copy(request.cdb.begin(), request.cdb.end(), header.Cdb);
    return command;
}

/// Drivers ask for the right to write of all who send commands, so that what a handle for reading keeps back
/// is decided here: whatever sends data but for settings, and what erases without any.
bool writes(const ScsiRequest& request) {
    // MODE SELECT(6), MODE SELECT(10), SET STREAMING.
    constexpr std::uint8_t kSettings[] = {0x15, 0x55, 0xB6};
    // FORMAT UNIT, SANITIZE, BLANK, as data need not come with them.
    constexpr std::uint8_t kErasers[] = {0x04, 0x48, 0xA1};
    const std::uint8_t code = request.cdb[0];
    return std::ranges::count(kErasers, code) != 0 ||
           (request.direction == DataDirection::toDevice && std::ranges::count(kSettings, code) == 0);
}

void takeSense(const PassThrough& command, std::uint8_t bytes, ScsiResponse& response) {
    // Current or deferred, in fixed or descriptor format; drivers may leave the length as it was sent.
    const bool isSense = (command.sense[0] & 0x7C) == 0x70;
    response.senseBytes = isSense ? bytes : std::uint8_t{0};
    std::copy_n(command.sense.begin(), response.senseBytes, response.sense.begin());
}

}  // namespace

std::unique_ptr<WindowsScsiDevice> WindowsScsiDevice::open(const zel::String& path, bool writable) {
    PassThroughDevice opened(path);
    DeviceStatus status = opened.open();
    std::unique_ptr<WindowsScsiDevice> device(new WindowsScsiDevice(std::move(opened), writable));
    // A device's name stays for a while when nothing answers behind it.
    if (status.ok())
        status = device->execute(scsi::testUnitReady()).delivery;
    if (status.type == LIBDRIVE2_NOT_SUPPORTED && device->m_device.handle() != INVALID_HANDLE_VALUE)
        status.text = zel::worded("it takes no SCSI commands: {reason}", {{"reason", status.text}});
    if (!status.ok()) {
        noteOpenError(zel::worded("{path} cannot be opened for SCSI commands: {reason}",
                                  {{"path", path}, {"reason", status.text}}));
        return nullptr;
    }
    return device;
}

ScsiResponse WindowsScsiDevice::execute(const ScsiRequest& request) {
    ScsiResponse response;
    if (!m_writable && writes(request)) {
        response.delivery = {LIBDRIVE2_WRITE_PROTECTED_DEVICE,
                             zel::worded("the device was opened for reading only")};
        return response;
    }
    if (response.delivery = checkDataBytes(request.dataBytes); !response.delivery.ok())
        return response;
    const CommandData data(request.data, request.dataBytes, request.direction, m_device.alignment());
    PassThrough command = passThroughOf(request, data);
    Bytes answer;
    response.delivery = m_device.exchange(IOCTL_SCSI_PASS_THROUGH_DIRECT, &command, sizeof command, answer);
    if (!response.delivery.ok())
        return response;
    data.deliver();
    const auto completion = windows::parseScsiCompletion(answer, static_cast<std::uint32_t>(data.bytes()),
                                                         static_cast<std::uint8_t>(command.sense.size()));
    if (!completion) {
        response.delivery = answerCutOff();
        return response;
    }
    response.status = completion->status;
    response.transferredBytes = completion->transferredBytes;
    takeSense(command, completion->senseBytes, response);
    return response;
}

}  // namespace libDrive2
