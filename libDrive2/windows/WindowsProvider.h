#pragma once

#include "libDrive2/DeviceProvider.h"

namespace libDrive2 {

/// The drives and volumes of Windows, and image files.
class WindowsProvider : public DeviceProvider {
public:
    [[nodiscard]] bool owns(const zel::String& /*locator*/) const override { return true; }
    bool describe(const zel::String& path, DeviceDescription& description, zel::String& error) override;
    std::unique_ptr<BlockHandle> openBlock(const zel::String& path, std::uint32_t desiredAccess,
                                           std::uint32_t shareMode) override;
    std::unique_ptr<ScsiPassThrough> openScsi(const zel::String& path, std::uint32_t desiredAccess) override;
    /// By the number that the system has given to the device, which leads past a volume that does not open.
    std::unique_ptr<ScsiPassThrough> openScsiObject(const zel::String& path, bool writable) override;
    /// By the port driver's ATA pass-through, or by SCSI commands where it has none.
    std::unique_ptr<AtaDevice> openAta(const zel::String& path) override;
    std::unique_ptr<NVMeDevice> openNVMe(const zel::String& path) override;
    std::unique_ptr<DeviceLockingManager::Volumes> volumes(const zel::String& path) override;
    std::unique_ptr<DeviceLease> take(const zel::String& path, LeasePurpose purpose,
                                      DeviceStatus& failure) override;
    zel::Array<zel::String> listLocators() override;
};

}  // namespace libDrive2
