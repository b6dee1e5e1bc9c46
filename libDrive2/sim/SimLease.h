#pragma once

#include "libDrive2/DeviceLease.h"
#include "libDrive2/sim/SimVolumes.h"

namespace libDrive2 {

/// A simulated drive in hand, and the file that holds its contents. One without a file is what its locator
/// says, in this process alone.
class SimLease : public DeviceLease {
public:
    static std::unique_ptr<DeviceLease> take(const zel::String& locator, LeasePurpose purpose,
                                             DeviceStatus& failure);
    ~SimLease() override;

    [[nodiscard]] const zel::String& locator() const override { return m_locator; }
    [[nodiscard]] const DriveIdentity& identity() const override { return m_identity; }
    [[nodiscard]] zel::String descriptorPath() const override { return {}; }
    bool isUnchanged(zel::String& difference) override;
    zel::Array<zel::String> users() override;
    zel::Array<VolumeContent> contents() override { return m_volumes.contents(); }
    Encryption examineEncryption(zel::Wording& reason) override {
        return m_volumes.examineEncryption(reason);
    }
    [[nodiscard]] bool holdsForeignTags() const override { return m_holdsForeignTags; }
    [[nodiscard]] bool outlivesProcess() const override { return m_image != nullptr; }
    bool unlockVolumes(zel::Wording& reason) override { return m_volumes.unlock(reason); }
    SharedBlockHandle openBlock(bool writable, zel::Wording& reason) override;

private:
    SimLease(const zel::String& locator, LeasePurpose purpose);

    bool begin(LeasePurpose purpose, DeviceStatus& failure);

    zel::String m_locator;
    DriveIdentity m_identity;
    std::unique_ptr<DeviceLease> m_image;  ///< null without a file
    SimVolumes m_volumes;
    bool m_holdsForeignTags = false;
    bool m_isHidden = false;  ///< only commands reach it
};

}  // namespace libDrive2
