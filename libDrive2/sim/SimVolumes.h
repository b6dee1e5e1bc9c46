#pragma once

#include <memory>

#include "libDrive2/DeviceLockingManager.h"

namespace libDrive2 {

/// The volumes of a simulated drive: encrypted, in use, or not to be given back when its locator says so.
std::unique_ptr<DeviceLockingManager::Volumes> simVolumes(const zel::String& locator);

}  // namespace libDrive2
