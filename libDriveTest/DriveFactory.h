#pragma once

#include <cstdint>
#include <memory>

#include "DriveTest.h"
#include "DriveTestAccessor.h"
#include "libDrive2/BlockHandle.h"
#include "libDrive2/ScsiPassThrough.h"
#include "quix5/ModuleDescriptor.h"

namespace libDriveTest {

/// Turns a device into a drive by the first access method of a search order that fits the device. Every
/// handle is opened with the access and sharing modes given; a drive owns what was opened for it.
class DriveFactory {
public:
    DriveFactory(const DiagDevice& device, unsigned long desiredAccess, unsigned long shareMode);

    /// `searchOrder` may be null. An empty drive comes with the result that says why, after the event that
    /// says so to the user.
    quix5::CreatedDrive create(const DRIVE_IMPLEMENTATIONS* searchOrder);

private:
    using OwnedDrive = std::unique_ptr<Drive>;

    /// One way to reach a device.
    struct Method {
        DRIVE_IMPLEMENTATIONS number;
        bool (DriveFactory::*fits)() const;
        OwnedDrive (DriveFactory::*open)();
    };
    static const Method kMethods[];
    static const Method* findMethod(DRIVE_IMPLEMENTATIONS number);

    [[nodiscard]] const DRIVE_IMPLEMENTATIONS* chooseOrder(const DRIVE_IMPLEMENTATIONS* searchOrder);
    bool takeOverride();
    bool takeProperty();

    [[nodiscard]] bool isAta() const;
    [[nodiscard]] bool isScsiSBC() const;
    [[nodiscard]] bool isScsiMMC() const;
    [[nodiscard]] bool isUsbFloppy() const;
    [[nodiscard]] bool isOsFloppy() const;
    [[nodiscard]] bool isOsBlockDevice() const;
    [[nodiscard]] bool isOsScsiSBC() const;
    [[nodiscard]] bool isNVMe() const;

    OwnedDrive openAta();
    OwnedDrive openScsiSBC();
    OwnedDrive openScsiMMC();
    OwnedDrive openUsbFloppy();
    OwnedDrive openOsFloppy();
    OwnedDrive openOsDrive();
    OwnedDrive openOsScsiSBC();
    OwnedDrive openNVMe();

    [[nodiscard]] libDrive2::SharedBlockHandle openOsHandle() const;
    [[nodiscard]] String announceScsi(const char* kind) const;
    template <class DriveClass>
    OwnedDrive openByPassThrough(const char* kind, const char* className);
    [[nodiscard]] libDrive2::SharedScsiPassThrough openPassThrough(const String& locator) const;
    [[nodiscard]] std::uint32_t mediaCapabilities() const;

    const DiagDevice& m_device;
    quix5::DeviceCapability m_capabilities;
    std::uint32_t m_desiredAccess;
    std::uint32_t m_shareMode;
    DriveTestAccessor m_ownOrder{nullptr};  ///< the order of the setting or the device property
};

}  // namespace libDriveTest
