#pragma once

#include "libDrive2/DeviceLease.h"
#include "libDrive2/windows/WindowsVolumes.h"

namespace libDrive2 {

/// A physical drive, a volume, an optical drive or an image file in hand.
class WindowsLease : public DeviceLease {
public:
    static std::unique_ptr<DeviceLease> take(const zel::String& path, LeasePurpose purpose,
                                             DeviceStatus& failure);
    ~WindowsLease() override;

    [[nodiscard]] const zel::String& locator() const override { return m_path; }
    [[nodiscard]] const DriveIdentity& identity() const override { return m_identity; }
    /// Its own path, where nobody can give that to another one: the number of a disk is free only when the
    /// last handle is closed, and a file that is not shared for it cannot be renamed. A letter can.
    [[nodiscard]] zel::String descriptorPath() const override;
    bool isUnchanged(zel::String& difference) override;
    bool isSameMedium(zel::String& difference) override;
    zel::Array<zel::String> users() override { return m_volumes.holders(); }
    zel::Array<VolumeContent> contents() override { return m_volumes.contents(); }
    Encryption examineEncryption(zel::Wording& reason) override {
        return m_volumes.examineEncryption(reason);
    }
    [[nodiscard]] bool takesWritesInOrderOnly() const override;
    SharedBlockHandle openBlock(bool writable, zel::Wording& reason) override;

    /// A handle for a volume in hand, which the system opens to nobody any more: through its disk. Null, with
    /// nothing in `reason`, for anything else.
    static std::unique_ptr<BlockHandle> openHeldVolume(const zel::String& path, std::uint32_t desiredAccess,
                                                       zel::Wording& reason);

private:
    WindowsLease(const zel::String& path, LeasePurpose purpose, zel::Handle opened);

    DeviceStatus begin();
    DeviceStatus identify(DriveIdentity& identity);
    DeviceStatus sizeOf(const WindowsTarget& now, DriveIdentity& identity);
    DeviceStatus sizeByReading(DriveIdentity& identity);
    [[nodiscard]] zel::String findDifference();
    /// Whether the path still leads to what the handle leads to.
    [[nodiscard]] bool leadsHere() const;
    [[nodiscard]] bool isRemovable() const;
    [[nodiscard]] bool isOptical() const { return target().kind == WindowsTarget::Kind::optical; }
    [[nodiscard]] const WindowsTarget& target() const { return m_volumes.target(); }
    /// The system's count of the media that the drive has had; nothing where it has none, or cannot tell.
    [[nodiscard]] std::optional<std::uint32_t> mediumNumber() const;

    zel::String m_path;
    WindowsVolumes m_volumes;
    DriveIdentity m_identity;
    std::optional<std::uint32_t> m_mediumNumber;
};

/// See DeviceLease::listLocators().
zel::Array<zel::String> listWindowsLocators();

}  // namespace libDrive2
