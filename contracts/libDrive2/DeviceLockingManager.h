#pragma once

#include <cstdint>
#include <memory>

#include "zel/Array.h"
#include "zel/Export.h"
#include "zel/Words.h"

namespace libDrive2 {

/// Something that stands on a device: its partition table, a partition, a file system.
struct VolumeContent {
    zel::String what;         ///< for example "partition 1: ext4 \"backup\""
    std::uint64_t bytes = 0;  ///< 0 where it has no size of its own
};

/// What could be found out about encrypted volumes on a device.
enum class Encryption : std::uint8_t {
    none,
    found,
    unexamined,  ///< a sector that could hold a signature, or tell where one is, cannot be read
};

/// The volumes on one device: who uses them, whether they are encrypted, and their lock. Blocks as long as
/// the operating system's calls do; one thread at a time.
class DRIVETEST_API DeviceLockingManager {
public:
    /// Over the device's OS locator; nothing is opened yet.
    explicit DeviceLockingManager(const zel::String& osLocator);
    /// Unlocks what is still locked.
    ~DeviceLockingManager();
    DeviceLockingManager(const DeviceLockingManager&) = delete;
    DeviceLockingManager& operator=(const DeviceLockingManager&) = delete;

    /// Whether an encrypted volume (BitLocker, LUKS) was found on the device or a partition of it.
    /// getLastErrorStr() then names it.
    bool isBitLockerEnabledOnVolumes();
    /// The same, and whether it could be found out; getLastErrorStr() tells why not. An optical medium
    /// without a recording that can be read holds none.
    Encryption examineEncryption();
    /// Takes the device and all its partitions for this process alone, or none of them. False names the
    /// users of the device in getLastErrorStr() and in the log.
    bool lockVolumes();
    /// False when something that was locked could not be given back.
    bool unlockVolumes();

    /// Who uses the device or a partition of it, one sentence piece each, for example
    /// "sdb1 is mounted on /mnt". Empty when nobody does.
    zel::Array<zel::String> holders();
    /// What is on the device, for a person who is to decide whether it may be overwritten. Empty when
    /// nothing is recognised, which does not mean that there is no data.
    zel::Array<VolumeContent> contents();
    /// Why the last operation failed.
    [[nodiscard]] zel::Wording getLastErrorStr() const;

    /// How one kind of device does it.
    class Volumes {
    public:
        virtual ~Volumes() = default;
        virtual Encryption examineEncryption(zel::Wording& reason) = 0;
        virtual bool lock(zel::Wording& reason) = 0;
        virtual bool unlock(zel::Wording& reason) = 0;
        virtual zel::Array<zel::String> holders() = 0;
        virtual zel::Array<VolumeContent> contents() = 0;
    };

private:
    std::unique_ptr<Volumes> m_volumes;
    zel::Wording m_lastError;
};

}  // namespace libDrive2
