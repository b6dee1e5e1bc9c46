#include "libDrive2/sim/SimIdentity.h"

namespace libDrive2 {

namespace {

using quix5::DeviceCapability;

constexpr const char* kFirmware = "1.0";

DeviceCapability capabilitiesOf(const SimOptions& options) {
    switch (options.kind) {
        case SimKind::disk:
            break;
        case SimKind::scsi:
            return DeviceCapability::SCSISBC |
                   (options.isHidden() ? DeviceCapability() : DeviceCapability::HardDrive);
        case SimKind::ata:
            return DeviceCapability::ATA | DeviceCapability::HardDrive |
                   (options.emulated ? DeviceCapability::SCSISBC : DeviceCapability());
        case SimKind::nvme:
            return DeviceCapability::NVME | DeviceCapability::HardDrive;
        case SimKind::floppy:
            return DeviceCapability::FloppyDrive;
        case SimKind::ufi:
            return DeviceCapability::USB_UFI | DeviceCapability::FloppyDrive;
        case SimKind::optical:
            return DeviceCapability::SCSIMMC | DeviceCapability::CDROM;
    }
    return DeviceCapability::HardDrive;
}

/// What all kinds of drives say alike.
SimIdentity identityOf(const SimOptions& options) {
    SimIdentity identity;
    identity.capabilities = capabilitiesOf(options);
    identity.model = std::string(kSimVendor).append(" ").append(traitsOf(options.kind).product);
    identity.serial = options.serial;
    identity.firmware = kFirmware;
    return identity;
}

}  // namespace

SimIdentity identify(const SimMedium& medium) {
    const SimOptions& options = medium.options();
    const SimSecurity& security = medium.state().security;
    SimIdentity identity = identityOf(options);
    if (options.removable)
        identity.capabilities = identity.capabilities | DeviceCapability::RemovableStorage;
    identity.bytes = medium.bytes();
    identity.sectorBytes = options.sectorBytes;
    identity.securitySupported = options.kind == SimKind::ata;
    identity.securityEnabled = security.isEnabled();
    identity.securityLocked = security.isLocked();
    return identity;
}

SimIdentity identify(const OpticalDrive& drive) {
    SimIdentity identity = identityOf(drive.options());
    const std::uint64_t sectors = drive.disc() != nullptr ? drive.disc()->readableSectors() : 0;
    identity.bytes = sectors * kOpticalSectorBytes;
    identity.sectorBytes = kOpticalSectorBytes;
    return identity;
}

}  // namespace libDrive2
