#pragma once

#include <sys/stat.h>

#include <optional>
#include <utility>
#include <vector>

#include "libDrive2/DeviceLockingManager.h"
#include "libDrive2/linux/FileDescriptor.h"
#include "libDrive2/linux/LinuxBlockHandle.h"

namespace libDrive2 {

/// The volumes of a block device or an image file. The path is followed once; after that all is asked of the
/// descriptor.
class LinuxVolumes : public DeviceLockingManager::Volumes {
public:
    /// Opens the path when something is asked for the first time.
    explicit LinuxVolumes(const zel::String& path) : m_path(path) {}
    /// Over what is open already; the path is only what messages call it.
    LinuxVolumes(const zel::String& path, FileDescriptor opened)
        : m_path(path), m_opened(std::move(opened)) {}

    Encryption examineEncryption(zel::Wording& reason) override;
    bool lock(zel::Wording& reason) override;
    /// What lock() does, with the kind of its failure: LIBDRIVE2_WRITE_PROTECTED_DEVICE when the device may
    /// not be written to, else LIBDRIVE2_BUSY.
    DeviceStatus hold();
    bool unlock(zel::Wording& reason) override;
    zel::Array<zel::String> holders() override;
    zel::Array<VolumeContent> contents() override;
    /// Keeps those who lock() the device, its disk or one of its partitions from it, and them only. Needs no
    /// more than the right to read. False while one of them has it, with who in `reason`.
    bool lockForReading(zel::Wording& reason);

    /// For all that is read of the content: opened once, and anew only to see what medium there is. Empty
    /// on failure, with why in `problem`.
    zel::SharedPointer<LinuxBlockHandle> reader(zel::Wording& problem);

private:
    /// What the path led to; nothing, with errno set, when it led nowhere.
    std::optional<struct stat> found();
    /// Another descriptor of the same; with errno set when there is none.
    FileDescriptor reopen(int flags);
    bool isOptical();
    bool hasMedium();
    bool lockAgainstOthers(int fd, bool isBlockDevice, bool writable, zel::Wording& reason) const;
    bool lockOtherPaths(zel::Wording& reason);
    [[nodiscard]] zel::Wording describeUntaken(int error) const;
    zel::Wording describeBusy();

    zel::String m_path;
    FileDescriptor m_opened;
    FileDescriptor m_lock;
    zel::SharedPointer<LinuxBlockHandle> m_reader;
    std::vector<FileDescriptor> m_others;  ///< locked with it
};

}  // namespace libDrive2
