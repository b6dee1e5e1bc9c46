#pragma once

#include <cstdint>
#include <memory>

#include "libDrive2/BlockHandle.h"
#include "libDrive2/DeviceLockingManager.h"

namespace libDrive2 {

/// What each operating system's folder supplies. Failures are kept with noteOpenError() and give null.
std::unique_ptr<BlockHandle> openPlatformBlockDevice(const zel::String& path, std::uint32_t desiredAccess,
                                                     std::uint32_t shareMode);
std::unique_ptr<DeviceLockingManager::Volumes> platformVolumes(const zel::String& path);

}  // namespace libDrive2
