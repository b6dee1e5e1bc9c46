#include "DriveFactory.h"
#include "DriveTestLogger.h"
#include "libDrive2/AtaDrive.h"
#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/NVMeDrive.h"
#include "libDrive2/OSFloppyDrive.h"
#include "libDrive2/OSScsiSBCDrive.h"
#include "libDrive2/ScsiMMCDrive.h"
#include "libDrive2/ScsiSBCDrive.h"
#include "libDrive2/UFIFloppyDrive.h"

// How each access method opens its device. An empty pointer: it could not be opened.

namespace libDriveTest {

namespace {

void logCreated(const char* driveType) {
    driveTestLogger().line(1, "Created drive type: ", driveType);
}

/// The SCSI library's primary-command device as a block-command one.
class WrappedSPCDevice : public libDrive2::ScsiSBCDevice {
public:
    explicit WrappedSPCDevice(zel::SharedPointer<libDrive2::ScsiSPCDevice> device)
        : m_device(std::move(device)) {}
    libDrive2::ScsiPassThrough& passThrough() override { return m_device->passThrough(); }

private:
    zel::SharedPointer<libDrive2::ScsiSPCDevice> m_device;
};

/// The second route to a SCSI disk, through its device object.
std::unique_ptr<libDrive2::ScsiSBCDrive> openByDeviceObject(const DiagDevice& device) {
    auto primary = libDrive2::ScsiInfo::openScsiDevice(device, 0);
    if (!primary)
        return nullptr;
    return std::make_unique<libDrive2::ScsiSBCDrive>(
        zel::SharedPointer<libDrive2::ScsiSBCDevice>(std::make_unique<WrappedSPCDevice>(std::move(primary))));
}

}  // namespace

libDrive2::SharedBlockHandle DriveFactory::openOsHandle() const {
    return libDrive2::OsDevice::openOsDevice(m_device.osLocator(), m_desiredAccess, m_shareMode,
                                             libDrive2::kOpenExisting, 0);
}

libDrive2::SharedScsiPassThrough DriveFactory::openPassThrough(const String& locator) const {
    return libDrive2::ScsiDevice::openScsiDevice(locator, m_desiredAccess, m_shareMode);
}

std::uint32_t DriveFactory::mediaCapabilities() const {
    return m_capabilities.isCapable(quix5::DeviceCapability::HardDrive) ? libDrive2::kMediaHardDrive
                                                                        : libDrive2::kMediaOther;
}

DriveFactory::OwnedDrive DriveFactory::openAta() {
    libDrive2::SharedAtaDevice ata = libDrive2::AtaInfo::openAtaDevice(m_device, 0);
    if (ata && ata->isInitialized() && !ata->isEmulated()) {
        auto drive = std::make_unique<libDrive2::AtaDrive>(std::move(ata));
        logCreated("AtaDrive");
        return drive;
    }
    driveTestLogger().line(3, "Unable to create AtaDrive object for device: ", m_device.hwLocator());
    return nullptr;
}

/// Gives the path for pass-through handles, after the lines that name what is tried.
String DriveFactory::announceScsi(const char* kind) const {
    driveTestLogger().line(1, "DriveTest::createDrive() creating ", kind);
    const String locator = DriveTest::getScsiIOLocator(m_device);
    driveTestLogger().line(1, "DriveTest::createDrive() will test locator: ", locator);
    return locator;
}

template <class DriveClass>
DriveFactory::OwnedDrive DriveFactory::openByPassThrough(const char* kind, const char* className) {
    auto handle = openPassThrough(announceScsi(kind));
    if (!handle)
        return nullptr;
    auto drive = std::make_unique<DriveClass>(std::move(handle));
    logCreated(className);
    return drive;
}

DriveFactory::OwnedDrive DriveFactory::openScsiSBC() {
    zel::Logger& log = driveTestLogger();
    const String locator = announceScsi("SCSI SBC Drive");
    std::unique_ptr<libDrive2::ScsiSBCDrive> drive;
    if (auto handle = openPassThrough(locator))
        drive = std::make_unique<libDrive2::ScsiSBCDrive>(std::move(handle));
    else
        drive = openByDeviceObject(m_device);
    if (drive == nullptr)
        return nullptr;
    if (drive->supportsFUA())
        log.line(1, "Device ", locator, " supports FUA");
    else
        log.line(3, "Device ", locator, " does not support FUA");
    logCreated("ScsiSBCDrive");
    return drive;
}

DriveFactory::OwnedDrive DriveFactory::openScsiMMC() {
    return openByPassThrough<libDrive2::ScsiMMCDrive>("SCSI MMC Drive", "ScsiMMCDrive");
}

DriveFactory::OwnedDrive DriveFactory::openUsbFloppy() {
    return openByPassThrough<libDrive2::UFIFloppyDrive>("USB UFI Floppy Drive", "UFIFloppyDrive");
}

DriveFactory::OwnedDrive DriveFactory::openOsFloppy() {
    driveTestLogger().line(1, "DriveTest::createDrive() creating OS Floppy Drive");
    auto handle = openOsHandle();
    return handle ? std::make_unique<libDrive2::OSFloppyDrive>(std::move(handle)) : nullptr;
}

DriveFactory::OwnedDrive DriveFactory::openOsDrive() {
    driveTestLogger().line(1, "DriveTest::createDrive() creating OS Drive");
    auto handle = openOsHandle();
    if (!handle)
        return nullptr;
    auto drive = std::make_unique<libDrive2::OSDrive>(std::move(handle), m_device.osLocator());
    drive->setMediaCapabilities(mediaCapabilities());
    logCreated("OSDrive");
    return drive;
}

DriveFactory::OwnedDrive DriveFactory::openOsScsiSBC() {
    zel::Logger& log = driveTestLogger();
    log.line(1, "DriveTest::createDrive() creating OSScsiSBCDrive");
    log.line(1, "DriveTest::createDrive() will test OS locator: ", m_device.osLocator());
    auto handle = openOsHandle();
    if (!handle)
        return nullptr;
    const String locator = DriveTest::getScsiIOLocator(m_device);
    log.line(1, "DriveTest::createDrive() will test SCSI locator: ", locator);
    auto passThrough = openPassThrough(locator);
    if (!passThrough)
        return nullptr;
    auto drive = std::make_unique<libDrive2::OSScsiSBCDrive>(std::move(handle), std::move(passThrough),
                                                             m_device.osLocator());
    drive->setMediaCapabilities(mediaCapabilities());
    logCreated("OSScsiSBCDrive");
    return drive;
}

DriveFactory::OwnedDrive DriveFactory::openNVMe() {
    zel::Logger& log = driveTestLogger();
    log.line(1, "DriveTest::createDrive() creating NVMeDrive");
    log.line(1, "DriveTest::createDrive() will test OS locator: ", m_device.osLocator());
    auto device = libDrive2::libNVMeInfo::openDevice(m_device);
    if (!device)
        return nullptr;
    auto drive = std::make_unique<libDrive2::NVMeDrive>(std::move(device));
    logCreated("NVMeDrive");
    return drive;
}

}  // namespace libDriveTest
