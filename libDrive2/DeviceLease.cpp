#include "libDrive2/DeviceLease.h"

#include "libDrive2/PlatformOpeners.h"
#include "libDrive2/sim/SimLease.h"
#include "libDrive2/sim/SimLocator.h"

namespace libDrive2 {

std::unique_ptr<DeviceLease> DeviceLease::take(const zel::String& locator, LeasePurpose purpose,
                                               DeviceStatus& failure) {
    if (isSimLocator(locator))
        return SimLease::take(locator, purpose, failure);
    return takePlatformLease(locator, purpose, failure);
}

zel::Array<zel::String> DeviceLease::listLocators() {
    return listPlatformLocators();
}

}  // namespace libDrive2
