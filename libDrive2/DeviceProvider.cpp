#include "libDrive2/DeviceProvider.h"

#include "libDrive2/sim/SimProvider.h"

namespace libDrive2 {

DeviceProvider& DeviceProvider::of(const zel::String& locator) {
    SimProvider& simulated = SimProvider::get();
    return simulated.owns(locator) ? static_cast<DeviceProvider&>(simulated) : system();
}

}  // namespace libDrive2
