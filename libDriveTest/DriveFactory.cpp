#include "DriveFactory.h"

#include <algorithm>
#include <iterator>

#include "DriveTestLogger.h"
#include "Events.h"
#include "zel/Resource.h"

namespace libDriveTest {

using quix5::DeviceCapability;

namespace {

constexpr const char* kPackage = "libDriveTest";
constexpr const char* kOverrideSetting = "DefaultSearchOrderOverride.value";

quix5::CreatedDrive refuse(const Event* event, TestResult reason,
                           std::source_location where = std::source_location::current()) {
    DiagModule::warning(event, where.file_name(), static_cast<int>(where.line()));
    return {{}, reason};
}

}  // namespace

// In the order of the enumeration.
const DriveFactory::Method DriveFactory::kMethods[] = {
    {DRIVE_IMPLEMENTATION_ATA, &DriveFactory::isAta, &DriveFactory::openAta},
    {DRIVE_IMPLEMENTATION_SCSI_SBC, &DriveFactory::isScsiSBC, &DriveFactory::openScsiSBC},
    {DRIVE_IMPLEMENTATION_SCSI_MMC, &DriveFactory::isScsiMMC, &DriveFactory::openScsiMMC},
    {DRIVE_IMPLEMENTATION_USB_UFI, &DriveFactory::isUsbFloppy, &DriveFactory::openUsbFloppy},
    {DRIVE_IMPLEMENTATION_OS_FLOPPY, &DriveFactory::isOsFloppy, &DriveFactory::openOsFloppy},
    {DRIVE_IMPLEMENTATION_OS, &DriveFactory::isOsBlockDevice, &DriveFactory::openOsDrive},
    {DRIVE_IMPLEMENTATION_OS_SCSI_SBC, &DriveFactory::isOsScsiSBC, &DriveFactory::openOsScsiSBC},
    {DRIVE_IMPLEMENTATION_NVME, &DriveFactory::isNVMe, &DriveFactory::openNVMe},
};

const DriveFactory::Method* DriveFactory::findMethod(DRIVE_IMPLEMENTATIONS number) {
    const auto* const found =
        std::find_if(std::begin(kMethods), std::end(kMethods),
                     [number](const Method& method) { return method.number == number; });
    return found != std::end(kMethods) ? found : nullptr;
}

DriveFactory::DriveFactory(const DiagDevice& device, unsigned long desiredAccess, unsigned long shareMode)
    : m_device(device),
      m_desiredAccess(static_cast<std::uint32_t>(desiredAccess)),
      m_shareMode(static_cast<std::uint32_t>(shareMode)) {}

/// Whether the setting holds an order; it goes before all others.
bool DriveFactory::takeOverride() {
    zel::Logger& log = driveTestLogger();
    String text;
    if (!zel::Resource::getSetting(kPackage, kOverrideSetting, zel::ZELLocale::getGlobalLocale(), text))
        log.line(1, "unable to find resource - libDriveTest:", kOverrideSetting);
    if (text.isEmpty())
        return false;
    log.line(1, "Found override parameter \"DefaultSearchOrderOverride\"");
    if (!m_ownOrder.deserialize(text))
        return false;
    log.line(1, "Using search order from override parameter \"DefaultSearchOrderOverride\" : ", text);
    return true;
}

/// Whether the device carries an order of its own.
bool DriveFactory::takeProperty() {
    zel::Logger& log = driveTestLogger();
    const char* const name = DriveTestAccessor::getPropertyName();
    const quix5::DeviceProperty* const property = m_device.property(name);
    if (property == nullptr)
        return false;
    if (property->type() != quix5::DataType::STRING) {
        log.line(3, "Unable to identify the access method for this device");
        return false;
    }
    const String text = property->value().valueString().zelString();
    m_ownOrder = DriveTestAccessor(nullptr);
    if (!m_ownOrder.deserialize(text))
        return false;
    log.line(1, zel::formatted("Using search order from device property '%s': ", name), text);
    return true;
}

const DRIVE_IMPLEMENTATIONS* DriveFactory::chooseOrder(const DRIVE_IMPLEMENTATIONS* searchOrder) {
    if (takeOverride())
        return m_ownOrder.getSearchOrder();
    if (searchOrder != nullptr)
        return searchOrder;
    if (takeProperty())
        return m_ownOrder.getSearchOrder();
    driveTestLogger().line(1, "Using default drive test search order");
    return DriveTestAccessor::getDefaultSearchOrder();
}

quix5::CreatedDrive DriveFactory::create(const DRIVE_IMPLEMENTATIONS* searchOrder) {
    const DRIVE_IMPLEMENTATIONS* entry = chooseOrder(searchOrder);
    m_capabilities = m_device.deviceCapabilities();
    for (; *entry != DRIVE_IMPLEMENTATION_END; ++entry) {
        const Method* const method = findMethod(*entry);
        if (method == nullptr) {
            driveTestLogger().line(1, zel::formatted("No support for drive implementation: %08X",
                                                     static_cast<std::uint32_t>(*entry)));
            continue;
        }
        if (!(this->*method->fits)())
            continue;
        if (OwnedDrive drive = (this->*method->open)()) {
            drive->name = m_device.name();
            return {libDrive2::SharedDrive(std::move(drive)), TestResult::PASS};
        }
        // Only ATA leaves the device to the next method: another answer to its commands is no failure.
        if (method->number != DRIVE_IMPLEMENTATION_ATA)
            return refuse(events::cannotOpenDeviceRemoved.get(), TestResult::CANNOTRUN);
    }
    return refuse(events::testNotSupported.get(), TestResult::NOTSUPPORTED);
}

bool DriveFactory::isAta() const {
    return m_capabilities.isCapable(DeviceCapability::ATA);
}
bool DriveFactory::isScsiSBC() const {
    return m_capabilities.isCapable(DeviceCapability::SCSISBC);
}
bool DriveFactory::isScsiMMC() const {
    return m_capabilities.isCapable(DeviceCapability::SCSIMMC);
}
bool DriveFactory::isUsbFloppy() const {
    return m_capabilities.isCapable(DeviceCapability::USB_UFI);
}
bool DriveFactory::isOsFloppy() const {
    return m_capabilities.isCapable(DeviceCapability::FloppyDrive);
}
bool DriveFactory::isNVMe() const {
    return m_capabilities.isCapable(DeviceCapability::NVME);
}

namespace {

bool hasAnyOf(DeviceCapability capabilities, std::initializer_list<DeviceCapability> wanted) {
    return std::any_of(wanted.begin(), wanted.end(),
                       [capabilities](DeviceCapability one) { return capabilities.isCapable(one); });
}

}  // namespace

bool DriveFactory::isOsBlockDevice() const {
    return hasAnyOf(m_capabilities, {DeviceCapability::CDROM, DeviceCapability::HardDrive,
                                     DeviceCapability::FloppyDrive, DeviceCapability::USBMassStorage,
                                     DeviceCapability::MMCSDFlash, DeviceCapability::RemovableStorage});
}

/// Flash cards, which the plain block device takes, are none of these.
bool DriveFactory::isOsScsiSBC() const {
    return isScsiSBC() &&
           hasAnyOf(m_capabilities,
                    {DeviceCapability::CDROM, DeviceCapability::HardDrive, DeviceCapability::FloppyDrive,
                     DeviceCapability::USBMassStorage, DeviceCapability::RemovableStorage});
}

}  // namespace libDriveTest
