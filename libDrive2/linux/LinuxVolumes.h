#pragma once

#include <sys/types.h>

#include <string>

#include "libDrive2/DeviceLockingManager.h"
#include "libDrive2/linux/FileDescriptor.h"
#include "libDrive2/linux/SysfsBlock.h"

namespace libDrive2 {

/// The volumes of a block device or an image file.
class LinuxVolumes : public DeviceLockingManager::Volumes {
public:
    explicit LinuxVolumes(const zel::String& path) : m_path(path) {}

    bool isEncrypted(zel::String& reason) override;
    bool lock(zel::String& reason) override;
    bool unlock(zel::String& reason) override;
    zel::Array<zel::String> holders() override;
    zel::Array<VolumeContent> contents() override;

private:
    static void findUsers(const SysfsBlock& device, zel::Array<zel::String>& users);

    [[nodiscard]] bool isOptical() const;
    [[nodiscard]] int openFlags() const;

    zel::String m_path;
    FileDescriptor m_lock;
};

}  // namespace libDrive2
