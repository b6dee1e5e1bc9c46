#pragma once

#include <cstdint>
#include <memory>

#include "libDrive2/AtaDevice.h"
#include "libDrive2/BlockHandle.h"
#include "libDrive2/DeviceLease.h"
#include "libDrive2/DeviceLockingManager.h"
#include "libDrive2/NVMeDevice.h"
#include "libDrive2/ScsiPassThrough.h"

namespace libDrive2 {

/// What each operating system's folder supplies. Failures are kept with noteOpenError() and give null.
std::unique_ptr<BlockHandle> openPlatformBlockDevice(const zel::String& path, std::uint32_t desiredAccess,
                                                     std::uint32_t shareMode);
std::unique_ptr<ScsiPassThrough> openPlatformScsiDevice(const zel::String& path, std::uint32_t desiredAccess);
/// By another way than the device's own path, where the system has one.
std::unique_ptr<ScsiPassThrough> openPlatformScsiObject(const zel::String& path, bool writable);
std::unique_ptr<AtaDevice> openPlatformAtaDevice(const zel::String& path);
std::unique_ptr<NVMeDevice> openPlatformNVMeDevice(const zel::String& path);
std::unique_ptr<DeviceLockingManager::Volumes> platformVolumes(const zel::String& path);
zel::Array<zel::String> listPlatformLocators();
std::unique_ptr<DeviceLease> takePlatformLease(const zel::String& path, LeasePurpose purpose,
                                               DeviceStatus& failure);

}  // namespace libDrive2
