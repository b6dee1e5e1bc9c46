#include "DriveFactory.h"
#include "DriveTest.h"
#include "Events.h"

namespace libDriveTest {

namespace {

/// A boolean device property; nothing when the device lacks it.
std::optional<bool> flag(const DiagDevice& device, const char* name) {
    const quix5::DeviceProperty* const property = device.property(name);
    return property != nullptr ? std::optional(property->value().valueBool()) : std::nullopt;
}

}  // namespace

libDrive2::SharedDrive DriveTest::createDrive(const DiagDevice& device, unsigned long desiredAccess,
                                              unsigned long shareMode,
                                              const DRIVE_IMPLEMENTATIONS* searchOrder) {
    return DriveFactory(device, desiredAccess, shareMode).create(searchOrder).drive;
}

String DriveTest::getScsiIOLocator(const DiagDevice& device) {
    return device.osLocator();
}

bool DriveTest::isATADrivePasswordProtected(const DiagDevice& device) {
    if (!device.hasCapability(quix5::DeviceCapability::ATA))
        return false;
    if (!flag(device, "SecurityPasswordSupported").value_or(false))
        return false;
    const std::optional<bool> set = flag(device, "SecurityPasswordSet");
    const std::optional<bool> locked = flag(device, "ATASecurityLocked");
    if (!set.value_or(false) || !locked.value_or(false))
        return false;
    const auto where = std::source_location::current();
    DiagModule::warning(events::harddrivePasswordProtected.get(), where.file_name(),
                        static_cast<int>(where.line()));
    return true;
}

}  // namespace libDriveTest
