#include <array>
#include <memory>

#include "DriveTest.h"
#include "DriveTestLogger.h"
#include "Events.h"
#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/OSDrive.h"

namespace libDriveTest {

using quix5::DeviceCapability;

namespace {

constexpr std::array kBlockDeviceCapabilities = {
    DeviceCapability::CDROM,          DeviceCapability::HardDrive,  DeviceCapability::FloppyDrive,
    DeviceCapability::USBMassStorage, DeviceCapability::MMCSDFlash, DeviceCapability::RemovableStorage,
};

libDrive2::SharedDrive refuse(const Event* event,
                              std::source_location where = std::source_location::current()) {
    DiagModule::warning(event, where.file_name(), static_cast<int>(where.line()));
    return {};
}

}  // namespace

bool DriveTest::hasAccessMethod(const DiagDevice& device) {
    for (const DeviceCapability capability : kBlockDeviceCapabilities)
        if (device.hasCapability(capability))
            return true;
    return false;
}

libDrive2::SharedDrive DriveTest::createDrive(const DiagDevice& device, unsigned long desiredAccess,
                                              unsigned long shareMode) {
    zel::Logger& log = driveTestLogger();
    if (!hasAccessMethod(device))
        return refuse(events::testNotSupported.get());
    log.line(1, "DriveTest::createDrive() creating OS Drive");
    auto handle =
        libDrive2::OsDevice::openOsDevice(device.osLocator(), static_cast<std::uint32_t>(desiredAccess),
                                          static_cast<std::uint32_t>(shareMode), libDrive2::kOpenExisting, 0);
    if (!handle)
        return refuse(events::cannotOpenDeviceRemoved.get());
    auto drive = std::make_unique<libDrive2::OSDrive>(std::move(handle), device.osLocator());
    drive->setMediaCapabilities(device.hasCapability(DeviceCapability::HardDrive) ? libDrive2::kMediaHardDrive
                                                                                  : libDrive2::kMediaOther);
    log.line(1, "Created drive type: OSDrive");
    return libDrive2::SharedDrive(std::move(drive));
}

}  // namespace libDriveTest
