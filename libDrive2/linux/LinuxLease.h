#pragma once

#include "libDrive2/DeviceLease.h"
#include "libDrive2/linux/FileDescriptor.h"
#include "libDrive2/linux/LinuxVolumes.h"

namespace libDrive2 {

/// A block device or an image file in hand.
class LinuxLease : public DeviceLease {
public:
    static std::unique_ptr<DeviceLease> take(const zel::String& path, LeasePurpose purpose,
                                             DeviceStatus& failure);
    ~LinuxLease() override;

    [[nodiscard]] const zel::String& locator() const override { return m_path; }
    [[nodiscard]] const DriveIdentity& identity() const override { return m_identity; }
    [[nodiscard]] zel::String descriptorPath() const override;
    bool isUnchanged(zel::String& difference) override;
    bool isSameMedium(zel::String& difference) override;
    zel::Array<zel::String> users() override { return m_volumes.holders(); }
    zel::Array<VolumeContent> contents() override { return m_volumes.contents(); }
    Encryption examineEncryption(zel::Wording& reason) override {
        return m_volumes.examineEncryption(reason);
    }
    [[nodiscard]] bool takesWritesInOrderOnly() const override;
    [[nodiscard]] bool holdsForeignTags() const override;
    SharedBlockHandle openBlock(bool writable, zel::Wording& reason) override;

private:
    LinuxLease(const zel::String& path, LeasePurpose purpose, FileDescriptor descriptor);

    DeviceStatus begin();
    DeviceStatus identify(DriveIdentity& identity) const;
    [[nodiscard]] zel::String findDifference() const;
    /// The kernel's number of the medium, which it changes with every medium; 0 where it has none.
    [[nodiscard]] std::uint64_t mediumNumber() const;

    zel::String m_path;
    FileDescriptor m_descriptor;
    LinuxVolumes m_volumes;
    DriveIdentity m_identity;
    std::uint64_t m_mediumNumber = 0;
};

}  // namespace libDrive2
