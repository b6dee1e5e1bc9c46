#include "libDrive2/HealthMonitor.h"

#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/health/AtaHealth.h"
#include "libDrive2/health/NVMeHealth.h"
#include "libDrive2/health/ScsiHealth.h"

namespace libDrive2 {

using quix5::DeviceCapability;

/// Questions would take away the news that a medium was changed; and a bridge that does not pass on ATA
/// commands may stumble over log pages.
bool HealthMonitor::isFor(const quix5::DiagDevice& device) {
    if (!device.hasCapability(DeviceCapability::HardDrive))
        return false;
    if (device.hasCapability(DeviceCapability::NVME) || device.hasCapability(DeviceCapability::ATA))
        return true;
    return device.hasCapability(DeviceCapability::SCSISBC) &&
           !device.hasCapability(DeviceCapability::USBMassStorage) &&
           !device.hasCapability(DeviceCapability::RemovableStorage);
}

std::unique_ptr<HealthMonitor> HealthMonitor::open(const quix5::DiagDevice& device) {
    if (!isFor(device))
        return nullptr;
    if (device.hasCapability(DeviceCapability::NVME)) {
        SharedNVMeDevice opened = libNVMeInfo::openDevice(device);
        return opened ? std::make_unique<NVMeHealth>(std::move(opened)) : nullptr;
    }
    if (device.hasCapability(DeviceCapability::ATA)) {
        SharedAtaDevice opened = AtaInfo::openAtaDevice(device, 0);
        return opened && opened->isInitialized() ? std::make_unique<AtaHealth>(std::move(opened)) : nullptr;
    }
    SharedScsiPassThrough opened =
        ScsiDevice::openScsiDevice(device.osLocator(), kAccessRead, kShareRead | kShareWrite);
    return opened ? std::make_unique<ScsiHealth>(std::move(opened)) : nullptr;
}

}  // namespace libDrive2
