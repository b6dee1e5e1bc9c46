#pragma once

#include <memory>

#include "zel/Array.h"
#include "zel/String.h"

namespace libDrive2 {

/// The volumes on one device: who uses them, whether they are encrypted, and their lock. Blocks as long as
/// the operating system's calls do; one thread at a time.
class DeviceLockingManager {
public:
    /// Over the device's OS locator; nothing is opened yet.
    explicit DeviceLockingManager(const zel::String& osLocator);
    /// Unlocks what is still locked.
    ~DeviceLockingManager();
    DeviceLockingManager(const DeviceLockingManager&) = delete;
    DeviceLockingManager& operator=(const DeviceLockingManager&) = delete;

    /// Whether the device or a partition of it holds an encrypted volume (BitLocker, LUKS). A device that
    /// cannot be examined counts as encrypted: nothing may be written to it.
    bool isBitLockerEnabledOnVolumes();
    /// Takes the device and all its partitions for this process alone, or none of them. False names the
    /// users of the device in getLastErrorStr() and in the log.
    bool lockVolumes();
    /// False when something that was locked could not be given back.
    bool unlockVolumes();

    /// Who uses the device or a partition of it, one sentence piece each, for example
    /// "sdb1 is mounted on /mnt". Empty when nobody does.
    zel::Array<zel::String> holders();
    /// Why the last operation failed.
    [[nodiscard]] zel::String getLastErrorStr() const;

    /// How one kind of device does it.
    class Volumes {
    public:
        virtual ~Volumes() = default;
        virtual bool isEncrypted(zel::String& reason) = 0;
        virtual bool lock(zel::String& reason) = 0;
        virtual bool unlock(zel::String& reason) = 0;
        virtual zel::Array<zel::String> holders() = 0;
    };

private:
    std::unique_ptr<Volumes> m_volumes;
    zel::String m_lastError;
};

}  // namespace libDrive2
