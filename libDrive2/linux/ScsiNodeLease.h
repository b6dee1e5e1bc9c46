#pragma once

#include <sys/stat.h>

#include <memory>
#include <vector>

#include "libDrive2/DeviceLease.h"
#include "libDrive2/linux/FileDescriptor.h"
#include "libDrive2/linux/SysfsScsi.h"

namespace libDrive2 {

/// A SCSI drive in hand that the system has no block interface for, by its generic node. Held for writing,
/// nobody else can open that node, nor those of other paths to the drive, nor an empty block device of it.
class ScsiNodeLease : public DeviceLease {
public:
    /// `number` is that of the node that the path led to.
    static std::unique_ptr<DeviceLease> take(const zel::String& path, dev_t number, LeasePurpose purpose,
                                             DeviceStatus& failure);
    ~ScsiNodeLease() override;

    [[nodiscard]] const zel::String& locator() const override { return m_path; }
    [[nodiscard]] const DriveIdentity& identity() const override { return m_identity; }
    [[nodiscard]] zel::String descriptorPath() const override;
    /// For commands: a node that is held can be opened no second time.
    [[nodiscard]] FileDescriptor duplicate() const;
    bool isUnchanged(zel::String& difference) override;
    zel::Array<zel::String> users() override;
    /// The system recognises nothing on what it does not show.
    zel::Array<VolumeContent> contents() override { return {}; }
    Encryption examineEncryption(zel::Wording& reason) override;
    [[nodiscard]] bool holdsForeignTags() const override { return m_holdsForeignTags; }
    SharedBlockHandle openBlock(bool writable, zel::Wording& reason) override;

private:
    ScsiNodeLease(const zel::String& path, SysfsScsi device, LeasePurpose purpose);

    DeviceStatus begin(dev_t number);
    DeviceStatus open(dev_t number);
    DeviceStatus holdOtherWays();
    DeviceStatus identify();
    [[nodiscard]] DeviceStatus inUse(const std::string& what) const;

    zel::String m_path;
    SysfsScsi m_device;
    FileDescriptor m_descriptor;
    std::vector<FileDescriptor> m_others;  ///< other ways to the drive, held with it
    DriveIdentity m_identity;
    bool m_holdsForeignTags = false;
};

}  // namespace libDrive2
