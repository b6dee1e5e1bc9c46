#pragma once

#include "libDrive2/DeviceProvider.h"

namespace libDrive2 {

/// Simulated drives, by locators that begin with "sim:". What is written to their backing files is held by
/// leases of these.
class SimProvider : public DeviceProvider {
public:
    static SimProvider& get();

    [[nodiscard]] bool owns(const zel::String& locator) const override;
    [[nodiscard]] bool isSimulated() const override { return true; }
    [[nodiscard]] bool skipsTime(const zel::String& locator) const override;
    bool describe(const zel::String& locator, DeviceDescription& description, zel::String& error) override;
    std::unique_ptr<BlockHandle> openBlock(const zel::String& locator, std::uint32_t desiredAccess,
                                           std::uint32_t shareMode) override;
    std::unique_ptr<ScsiPassThrough> openScsi(const zel::String& locator,
                                              std::uint32_t desiredAccess) override;
    /// What a simulated drive refuses by its locator it would refuse by any other name: always null.
    std::unique_ptr<ScsiPassThrough> openScsiObject(const zel::String& locator, bool writable) override;
    std::unique_ptr<AtaDevice> openAta(const zel::String& locator) override;
    std::unique_ptr<NVMeDevice> openNVMe(const zel::String& locator) override;
    std::unique_ptr<DeviceLockingManager::Volumes> volumes(const zel::String& locator) override;
    std::unique_ptr<DeviceLease> take(const zel::String& locator, LeasePurpose purpose,
                                      DeviceStatus& failure) override;
    zel::Array<zel::String> listLocators() override { return {}; }
};

}  // namespace libDrive2
