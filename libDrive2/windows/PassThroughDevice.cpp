#include "libDrive2/windows/PassThroughDevice.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "libDrive2/OpenLeases.h"
#include "libDrive2/windows/BlockMeasure.h"
#include "libDrive2/windows/DevicePath.h"
#include "libDrive2/windows/SystemError.h"
#include "libDrive2/windows/answers/PassThroughAnswers.h"
#include "zel/Words.h"
#include "zel/windows/DeviceQuery.h"
#include "zel/windows/Utf16.h"

namespace libDrive2 {

namespace {

constexpr std::size_t kMaxTransferBytes = std::size_t{1} << 20;
/// What every driver takes.
constexpr std::size_t kSafeTransferBytes = std::size_t{64} << 10;
constexpr std::size_t kSafeAlignment = 4096;

/// By its very name, whatever number of a partition its driver gives it.
bool namesWholeDevice(const zel::String& path) {
    const std::wstring name = zel::deviceName(zel::toWide(path.utf8()));
    return zel::numberInName(name, zel::kDiskPrefix) || zel::numberInName(name, zel::kOpticalPrefix);
}

}  // namespace

DeviceStatus PassThroughDevice::checkWholeDevice() const {
    if (namesWholeDevice(OpenLeases::pathOf(m_path)))
        return {};
    const auto number = zel::askNumber(m_handle.get());
    if (number && number->isPartition())
        return {LIBDRIVE2_NOT_SUPPORTED,
                zel::worded("it is a partition: commands go to the whole drive only")};
    return {};
}

void PassThroughDevice::readLimits() {
    const auto limits =
        windows::parseAdapterLimits(zel::askDevice(m_handle.get(), IOCTL_SCSI_GET_CAPABILITIES));
    m_maxTransferBytes =
        limits ? std::min<std::size_t>(limits->maxTransferBytes, kMaxTransferBytes) : kSafeTransferBytes;
    m_alignment = limits ? limits->alignment : kSafeAlignment;
}

DeviceStatus PassThroughDevice::open() {
    m_handle.reset();
    if (!namesDevice(OpenLeases::pathOf(m_path)))
        return {LIBDRIVE2_NOT_SUPPORTED, zel::worded("it is no device, so it takes no commands")};
    m_handle = openPath(m_path, GENERIC_READ | GENERIC_WRITE, zel::kShareContents, FILE_FLAG_OVERLAPPED);
    if (!m_handle)
        return lastSystemStatus();
    if (DeviceStatus status = checkWholeDevice(); !status.ok()) {
        m_handle.reset();
        return status;
    }
    readLimits();
    return {};
}

DeviceStatus PassThroughDevice::exchange(DWORD code, void* command, std::size_t bytes, Bytes& answer) const {
    if (!m_handle)
        return notReopened();
    const auto size = static_cast<DWORD>(bytes);
    DWORD returned = 0;
    if (zel::SystemCalls::current().deviceIoControl(m_handle.get(), code, command, size, command, size,
                                                    &returned) == FALSE)
        return failure(std::max(GetLastError(), DWORD{1}));
    answer = {static_cast<const std::uint8_t*>(command), std::min<std::size_t>(returned, bytes)};
    return {};
}

DeviceStatus PassThroughDevice::failure(DWORD error) const {
    DeviceStatus status = systemStatus(error);
    if (status.type != LIBDRIVE2_NOT_SUPPORTED && BlockMeasure(m_handle.get()).isGone())
        return {LIBDRIVE2_NO_ACCESS, zel::worded("the device is gone ({reason})", {{"reason", status.text}})};
    if (status.type == LIBDRIVE2_MEDIA_ERROR || status.type == LIBDRIVE2_DRIVE_ERROR)
        status.type = LIBDRIVE2_LINK_ERROR;
    if (error == ERROR_ACCESS_DENIED)
        return {LIBDRIVE2_NO_ACCESS,
                zel::worded("the system does not let this user send the command; run as administrator")};
    return status;
}

CommandData::CommandData(void* data, std::size_t bytes, DataDirection direction, std::size_t alignment)
    : m_callers(data), m_data(data), m_bytes(bytes), m_direction(direction) {
    if (direction == DataDirection::none || data == nullptr || bytes == 0) {
        m_data = nullptr;
        m_bytes = 0;
        return;
    }
    if (reinterpret_cast<std::uintptr_t>(data) % alignment == 0)
        return;
    m_copy = zel::Buffer(bytes);
    m_data = m_copy.data();
    // Also what a device leaves untouched must come back as it was.
    std::memcpy(m_data, data, bytes);
}

void CommandData::deliver() const {
    if (m_direction == DataDirection::fromDevice && m_data != nullptr && m_data != m_callers)
        std::memcpy(m_callers, m_data, m_bytes);
}

DWORD wholeSeconds(std::uint32_t milliseconds) {
    constexpr std::uint32_t kSecond = 1000;
    return std::max(1U, milliseconds / kSecond + (milliseconds % kSecond != 0 ? 1U : 0U));
}

DeviceStatus checkDataBytes(std::size_t bytes) {
    constexpr std::size_t kMostHeaderBytes = 4096;
    if (bytes > std::numeric_limits<DWORD>::max() - kMostHeaderBytes)
        return {LIBDRIVE2_BAD_ARGUMENT, "no command moves that many bytes"};
    return {};
}

DeviceStatus answerCutOff() {
    return {LIBDRIVE2_LINK_ERROR, "the driver's answer to the command is cut off"};
}

}  // namespace libDrive2
