#pragma once

#include <memory>

#include "libDrive2/DeviceLockingManager.h"

namespace libDrive2 {

/// The volumes of a simulated drive: encrypted when its locator says so, never in use.
std::unique_ptr<DeviceLockingManager::Volumes> simVolumes(const zel::String& locator);

}  // namespace libDrive2
