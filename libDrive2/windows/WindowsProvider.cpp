#include "libDrive2/windows/WindowsProvider.h"

#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/bridges/BlockNVMeDevice.h"
#include "libDrive2/bridges/SatAtaDevice.h"
#include "libDrive2/windows/DevicePath.h"
#include "libDrive2/windows/SystemError.h"
#include "libDrive2/windows/WindowsAtaDevice.h"
#include "libDrive2/windows/WindowsBlockHandle.h"
#include "libDrive2/windows/WindowsLease.h"
#include "libDrive2/windows/WindowsNVMeDevice.h"
#include "libDrive2/windows/WindowsScsiDevice.h"
#include "libDrive2/windows/WindowsVolumes.h"
#include "zel/Words.h"
#include "zel/windows/DeviceQuery.h"
#include "zel/windows/Utf16.h"

namespace libDrive2 {

namespace {

/// "\\.\PhysicalDrive1" or "\\.\CdRom0"; empty, with why in `problem`, for a partition or what has no number.
zel::String numberedDevice(const zel::String& path, zel::Wording& problem) {
    const zel::Handle device = openPath(path, FILE_READ_ATTRIBUTES, zel::kShareContents, 0);
    const auto number = device ? zel::askNumber(device.get()) : std::nullopt;
    if (number && !number->isPartition()) {
        const std::wstring_view prefix = number->isOptical() ? zel::kOpticalPrefix : zel::kDiskPrefix;
        return zel::fromWide(zel::devicePath(prefix, number->number));
    }
    const DWORD error = GetLastError();
    problem =
        number || error == ERROR_SUCCESS ? zel::worded("it is no whole device") : systemStatus(error).text;
    return {};
}

}  // namespace

DeviceProvider& DeviceProvider::system() {
    static WindowsProvider provider;
    return provider;
}

bool WindowsProvider::describe(const zel::String& path, DeviceDescription& description,
                               zel::String& /*error*/) {
    description = {};
    if (namesDevice(path))
        return true;
    LARGE_INTEGER bytes{};
    const zel::Handle file = openPath(path, FILE_READ_ATTRIBUTES, zel::kShareAll, 0);
    if (file && zel::SystemCalls::current().getFileSize(file.get(), &bytes) != FALSE)
        description.bytes = static_cast<std::uint64_t>(bytes.QuadPart);
    return true;
}

std::unique_ptr<BlockHandle> WindowsProvider::openBlock(const zel::String& path, std::uint32_t desiredAccess,
                                                        std::uint32_t shareMode) {
    zel::Wording problem;
    if (auto held = WindowsLease::openHeldVolume(path, desiredAccess, problem))
        return held;
    if (problem.isEmpty())
        return WindowsBlockHandle::open(path, desiredAccess, shareMode);
    noteOpenError(zel::worded("{path} cannot be opened: {reason}", {{"path", path}, {"reason", problem}}));
    return nullptr;
}

std::unique_ptr<ScsiPassThrough> WindowsProvider::openScsi(const zel::String& path,
                                                           std::uint32_t desiredAccess) {
    return WindowsScsiDevice::open(path, (desiredAccess & kAccessWrite) != 0);
}

std::unique_ptr<ScsiPassThrough> WindowsProvider::openScsiObject(const zel::String& path, bool writable) {
    zel::Wording problem;
    const zel::String numbered = numberedDevice(path, problem);
    if (!numbered.isEmpty())
        return WindowsScsiDevice::open(numbered, writable);
    noteOpenError(zel::worded("{path} cannot be opened for SCSI commands: {reason}",
                              {{"path", path}, {"reason", problem}}));
    return nullptr;
}

std::unique_ptr<AtaDevice> WindowsProvider::openAta(const zel::String& path) {
    DeviceStatus status;
    if (auto device = WindowsAtaDevice::open(path, status))
        return device;
    std::unique_ptr<WindowsScsiDevice> device = WindowsScsiDevice::open(path, true);
    return device != nullptr ? std::make_unique<SatAtaDevice>(std::move(device)) : nullptr;
}

std::unique_ptr<NVMeDevice> WindowsProvider::openNVMe(const zel::String& path) {
    std::unique_ptr<NVMeDevice> device = WindowsNVMeDevice::open(path);
    if (device == nullptr)
        return nullptr;
    std::unique_ptr<BlockHandle> blocks =
        WindowsBlockHandle::open(path, kAccessRead | kAccessWrite, kShareRead | kShareWrite);
    return blocks != nullptr ? std::make_unique<BlockNVMeDevice>(std::move(device), std::move(blocks))
                             : nullptr;
}

std::unique_ptr<DeviceLockingManager::Volumes> WindowsProvider::volumes(const zel::String& path) {
    return std::make_unique<WindowsVolumes>(path);
}

std::unique_ptr<DeviceLease> WindowsProvider::take(const zel::String& path, LeasePurpose purpose,
                                                   DeviceStatus& failure) {
    return WindowsLease::take(path, purpose, failure);
}

zel::Array<zel::String> WindowsProvider::listLocators() {
    return listWindowsLocators();
}

}  // namespace libDrive2
