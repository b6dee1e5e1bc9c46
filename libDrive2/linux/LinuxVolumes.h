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
    explicit LinuxVolumes(const zel::String& path) : LinuxVolumes(path, path.utf8()) {}
    /// Over a path that leads to the drive whatever becomes of its name.
    LinuxVolumes(const zel::String& path, std::string openPath)
        : m_path(path), m_openPath(std::move(openPath)) {}

    bool isEncrypted(zel::String& reason) override;
    bool lock(zel::String& reason) override;
    bool unlock(zel::String& reason) override;
    zel::Array<zel::String> holders() override;
    zel::Array<VolumeContent> contents() override;

private:
    static void findUsers(const SysfsBlock& device, zel::Array<zel::String>& users);

    [[nodiscard]] bool isOptical() const;
    [[nodiscard]] int openFlags() const;

    zel::String m_path;  ///< for messages
    std::string m_openPath;
    FileDescriptor m_lock;
};

}  // namespace libDrive2
