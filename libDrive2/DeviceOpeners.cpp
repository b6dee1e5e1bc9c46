#include "libDrive2/DeviceOpeners.h"

#include "libDrive2/DeviceProvider.h"
#include "libDrive2/OpenLeases.h"
#include "libDrive2/bridges/PathSPCDevice.h"
#include "quix5/DiagDevice.h"
#include "zel/Log.h"

namespace libDrive2 {

namespace {

thread_local zel::Wording lastOpenError;

}  // namespace

void noteOpenError(const zel::Wording& text) {
    lastOpenError = text;
    zel::LogFactory::createLogger("libDrive2.DeviceOpeners").line(4, text.english());
}

zel::Wording lastOpenErrorStr() {
    return lastOpenError;
}

SharedBlockHandle OsDevice::openOsDevice(const zel::String& locator, std::uint32_t desiredAccess,
                                         std::uint32_t shareMode, std::uint32_t disposition,
                                         std::uint32_t flags) {
    if (disposition != kOpenExisting || flags != 0) {
        noteOpenError(locator + ": devices can only be opened as they are");
        return {};
    }
    return SharedBlockHandle(DeviceProvider::of(locator).openBlock(locator, desiredAccess, shareMode));
}

SharedScsiPassThrough ScsiDevice::openScsiDevice(const zel::String& locator, std::uint32_t desiredAccess,
                                                 std::uint32_t /*shareMode*/) {
    // Commands are shared by nature: whoever needs the device alone opens its block interface so.
    return SharedScsiPassThrough(DeviceProvider::of(locator).openScsi(locator, desiredAccess));
}

zel::SharedPointer<ScsiSPCDevice> ScsiInfo::openScsiDevice(const quix5::DiagDevice& device,
                                                           std::uint32_t /*flags*/) {
    // No access is named: what is written to is in hand.
    const zel::String& locator = device.osLocator();
    const DeviceLease* const lease = OpenLeases::find(locator);
    std::unique_ptr<ScsiPassThrough> path =
        DeviceProvider::of(locator).openScsiObject(locator, lease != nullptr && lease->isExclusive());
    if (path == nullptr)
        return {};
    return zel::SharedPointer<ScsiSPCDevice>(std::make_unique<PathSPCDevice>(std::move(path)));
}

SharedAtaDevice AtaInfo::openAtaDevice(const quix5::DiagDevice& device, std::uint32_t /*flags*/) {
    return SharedAtaDevice(DeviceProvider::of(device.osLocator()).openAta(device.osLocator()));
}

SharedNVMeDevice libNVMeInfo::openDevice(const quix5::DiagDevice& device) {
    return SharedNVMeDevice(DeviceProvider::of(device.osLocator()).openNVMe(device.osLocator()));
}

}  // namespace libDrive2
