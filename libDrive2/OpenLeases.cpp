#include "libDrive2/OpenLeases.h"

#include <algorithm>
#include <mutex>
#include <vector>

#include "libDrive2/DeviceProvider.h"

namespace libDrive2 {

namespace {

struct Known {
    std::mutex mutex;
    std::vector<DeviceLease*> leases;
};

Known& known() {
    static Known instance;
    return instance;
}

}  // namespace

std::unique_ptr<DeviceLease> DeviceLease::take(const zel::String& locator, LeasePurpose purpose,
                                               DeviceStatus& failure) {
    return DeviceProvider::of(locator).take(locator, purpose, failure);
}

zel::Array<zel::String> DeviceLease::listLocators() {
    return DeviceProvider::system().listLocators();
}

void OpenLeases::add(DeviceLease& lease) {
    const std::lock_guard lock(known().mutex);
    known().leases.push_back(&lease);
}

void OpenLeases::remove(const DeviceLease& lease) {
    const std::lock_guard lock(known().mutex);
    std::erase(known().leases, &lease);
}

DeviceLease* OpenLeases::find(const zel::String& locator) {
    const std::lock_guard lock(known().mutex);
    const auto found =
        std::find_if(known().leases.rbegin(), known().leases.rend(), [&](const DeviceLease* lease) {
            return lease->locator() == locator || (!locator.isEmpty() && lease->descriptorPath() == locator);
        });
    return found != known().leases.rend() ? *found : nullptr;
}

zel::String OpenLeases::pathOf(const zel::String& locator) {
    const DeviceLease* const lease = find(locator);
    const zel::String path = lease != nullptr ? lease->descriptorPath() : zel::String();
    return path.isEmpty() ? locator : path;
}

}  // namespace libDrive2
