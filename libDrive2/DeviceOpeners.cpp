#include "libDrive2/DeviceOpeners.h"

#include "libDrive2/OpenError.h"
#include "libDrive2/OpenLeases.h"
#include "libDrive2/PlatformOpeners.h"
#include "libDrive2/bridges/PathSPCDevice.h"
#include "libDrive2/sim/SimDevices.h"
#include "libDrive2/sim/SimLocator.h"
#include "quix5/DiagDevice.h"
#include "zel/Log.h"

namespace libDrive2 {

namespace {

thread_local zel::String lastOpenError;

}  // namespace

void noteOpenError(const zel::String& text) {
    lastOpenError = text;
    zel::LogFactory::createLogger("libDrive2.DeviceOpeners").line(4, text);
}

zel::String lastOpenErrorStr() {
    return lastOpenError;
}

SharedBlockHandle OsDevice::openOsDevice(const zel::String& locator, std::uint32_t desiredAccess,
                                         std::uint32_t shareMode, std::uint32_t disposition,
                                         std::uint32_t flags) {
    if (disposition != kOpenExisting || flags != 0) {
        noteOpenError(locator + ": devices can only be opened as they are");
        return {};
    }
    if (isSimLocator(locator))
        return SharedBlockHandle(openSimBlockDevice(locator, desiredAccess));
    return SharedBlockHandle(openPlatformBlockDevice(locator, desiredAccess, shareMode));
}

SharedScsiPassThrough ScsiDevice::openScsiDevice(const zel::String& locator, std::uint32_t desiredAccess,
                                                 std::uint32_t /*shareMode*/) {
    // Commands are shared by nature: whoever needs the device alone opens its block interface so.
    if (isSimLocator(locator))
        return SharedScsiPassThrough(openSimScsiDevice(locator, desiredAccess));
    return SharedScsiPassThrough(openPlatformScsiDevice(locator, desiredAccess));
}

zel::SharedPointer<ScsiSPCDevice> ScsiInfo::openScsiDevice(const quix5::DiagDevice& device,
                                                           std::uint32_t /*flags*/) {
    // What a simulated drive refuses by its locator it would refuse by any other name.
    if (isSimLocator(device.osLocator()))
        return {};
    // No access is named: what is written to is in hand.
    const DeviceLease* const lease = OpenLeases::find(device.osLocator());
    std::unique_ptr<ScsiPassThrough> path =
        openPlatformScsiObject(device.osLocator(), lease != nullptr && lease->isExclusive());
    if (path == nullptr)
        return {};
    return zel::SharedPointer<ScsiSPCDevice>(std::make_unique<PathSPCDevice>(std::move(path)));
}

SharedAtaDevice AtaInfo::openAtaDevice(const quix5::DiagDevice& device, std::uint32_t /*flags*/) {
    if (isSimLocator(device.osLocator()))
        return SharedAtaDevice(openSimAtaDevice(device.osLocator()));
    return SharedAtaDevice(openPlatformAtaDevice(device.osLocator()));
}

SharedNVMeDevice libNVMeInfo::openDevice(const quix5::DiagDevice& device) {
    if (isSimLocator(device.osLocator()))
        return SharedNVMeDevice(openSimNVMeDevice(device.osLocator()));
    return SharedNVMeDevice(openPlatformNVMeDevice(device.osLocator()));
}

zel::String checkLocator(const zel::String& locator) {
    zel::String error;
    if (isSimLocator(locator))
        (void)parseSimLocator(locator, error);
    return error;
}

}  // namespace libDrive2
