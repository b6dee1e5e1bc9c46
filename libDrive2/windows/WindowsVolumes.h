#pragma once

#include "libDrive2/DeviceLockingManager.h"
#include "libDrive2/windows/DriveClaim.h"
#include "libDrive2/windows/VolumeLocks.h"
#include "libDrive2/windows/WindowsTarget.h"
#include "libDrive2/windows/WindowsUsers.h"

namespace libDrive2 {

/// The volumes of a physical drive, of a volume's own stretch of one, or of an image file, which has none.
class WindowsVolumes : public DeviceLockingManager::Volumes {
public:
    /// Opens the path when something is asked for the first time.
    explicit WindowsVolumes(const zel::String& path) : m_path(path) {}
    /// Over what is open already, by that path. The handle of a volume has no right to read it: with one, the
    /// volume could not be locked.
    WindowsVolumes(const zel::String& path, zel::Handle opened);

    Encryption examineEncryption(zel::Wording& reason) override;
    bool lock(zel::Wording& reason) override;
    /// What lock() does, with the kind of its failure: LIBDRIVE2_WRITE_PROTECTED_DEVICE when the device may
    /// not be written to, else LIBDRIVE2_BUSY.
    DeviceStatus hold();
    bool unlock(zel::Wording& reason) override;
    zel::Array<zel::String> holders() override;
    zel::Array<VolumeContent> contents() override;
    /// Keeps those who lock() the drive from it, and them only. Needs no more than the right to read. False
    /// while one of them has it, with who in `reason`.
    bool lockForReading(zel::Wording& reason);

    /// What is open, for questions; nothing before something was asked for.
    [[nodiscard]] HANDLE opened() const { return m_opened.get(); }
    /// What that led to when it was opened.
    [[nodiscard]] const WindowsTarget& target() const { return m_target; }
    /// Whether it is reached through the disk that it lies on.
    [[nodiscard]] bool isStretchOfDisk() const;
    /// For all that is read of the content: opened once, and anew only to see what medium there is. Empty
    /// on failure, with why in `problem`. Of a volume the stretch of its disk: the volume's own handle would
    /// show what an encrypted one holds, and none opens while it is locked.
    SharedBlockHandle reader(zel::Wording& problem);
    /// Another one, with bits of access as in DeviceOpeners.h.
    std::unique_ptr<BlockHandle> open(std::uint32_t access, zel::Wording& problem);

private:
    /// What the path leads to; null, with the system's error set, when it leads nowhere.
    const WindowsTarget* found();
    [[nodiscard]] std::vector<StorageExtent> storage();
    DeviceStatus holdAlone(const WindowsTarget& target);
    DeviceStatus claimAlone(const WindowsTarget& target);
    DeviceStatus lockAll(const WindowsTarget& target);
    [[nodiscard]] DeviceStatus unlisted() const;

    zel::String m_path;
    zel::Handle m_opened;  ///< only to ask; keeps a file's name from being given to another
    WindowsTarget m_target;
    bool m_isFound = false;
    DriveClaim m_claim{m_path};
    VolumeLocks m_locks;
    SharedBlockHandle m_reader;
    zel::Array<VolumeContent> m_contents;  ///< of then: a locked volume tells nobody what it is
    bool m_isHeld = false;
};

}  // namespace libDrive2
