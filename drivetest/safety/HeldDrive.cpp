#include "drivetest/safety/HeldDrive.h"

#include "drivetest/devices/Drives.h"
#include "quix5/DeviceInventory.h"

namespace drivetest {

using libDrive2::DeviceLease;
using libDrive2::DriveIdentity;

DriveIdentity identityOf(const DeviceLease& lease, const quix5::DiagDevice& device) {
    DriveIdentity identity = lease.identity();
    identity.model = textProperty(device, quix5::kPropertyModel);
    identity.serial = textProperty(device, quix5::kPropertySerial);
    if (identity.model.isEmpty())
        identity.model = device.osLocator();
    return identity;
}

bool HeldDrive::take(quix5::DiagDevice& device) {
    m_lease = DeviceLease::take(device.osLocator(), libDrive2::LeasePurpose::write, m_failure);
    if (m_lease == nullptr)
        return false;
    if (const zel::String path = m_lease->descriptorPath(); !path.isEmpty())
        describeAgain(device, path.utf8());
    m_identity = identityOf(*m_lease, device);
    return true;
}

bool HeldDrive::isUnchanged(std::string& difference) const {
    zel::String text;
    const bool unchanged = m_lease->isUnchanged(text);
    difference = text.utf8();
    return unchanged;
}

bool HeldDrive::isAsShown(std::string& difference) const {
    if (!isUnchanged(difference))
        return false;
    zel::String text;
    const bool same = m_lease->isSameMedium(text);
    difference = text.utf8();
    return same;
}

}  // namespace drivetest
