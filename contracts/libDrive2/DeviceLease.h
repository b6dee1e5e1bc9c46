#pragma once

#include <memory>

#include "libDrive2/BlockHandle.h"
#include "libDrive2/DeviceLockingManager.h"
#include "libDrive2/DriveIdentity.h"
#include "zel/Export.h"
#include "zel/Words.h"

namespace libDrive2 {

/// What a drive is taken for.
enum class LeasePurpose : std::uint8_t {
    look,   ///< to see what it is; others may use it meanwhile
    read,   ///< to read all of it; others may use it meanwhile, but not take it for writing
    write,  ///< for this process alone
};

/// A drive in hand: one open descriptor, from which everything about the drive comes. While a lease lives,
/// the openers and the DeviceLockingManager of this process reach the drive through it when they are given
/// its locator, whatever the path leads to by then. One thread at a time; all calls may block as long as the
/// system's do.
class DRIVETEST_API DeviceLease {
public:
    /// Opens the drive (a device path, an image file, "sim:…") and finds out what it is. For writing: takes
    /// it exclusively, with all its partitions. For reading: beside other readers. Null on failure; `failure`
    /// then has the type LIBDRIVE2_BUSY when somebody uses it, and a text that says who.
    static std::unique_ptr<DeviceLease> take(const zel::String& locator, LeasePurpose purpose,
                                             DeviceStatus& failure);
    /// The locators of all block devices of this machine, partitions and mappings too, that can hold
    /// something.
    static zel::Array<zel::String> listLocators();
    DeviceLease(const DeviceLease&) = delete;
    DeviceLease& operator=(const DeviceLease&) = delete;
    /// Gives the drive back.
    virtual ~DeviceLease() = default;

    [[nodiscard]] virtual const zel::String& locator() const = 0;
    [[nodiscard]] bool isExclusive() const { return m_purpose == LeasePurpose::write; }
    /// What the drive was when it was taken; no sectors for one without a medium.
    [[nodiscard]] virtual const DriveIdentity& identity() const = 0;
    /// A path that leads to the descriptor's drive for as long as the lease lives, and to no other; empty
    /// where the system has none.
    [[nodiscard]] virtual zel::String descriptorPath() const = 0;
    /// Asks the descriptor again. False, with what is different, when the drive is gone or is another one.
    virtual bool isUnchanged(zel::String& difference) = 0;
    /// Whether the medium in a removable drive is the one of then; true of a lease that was taken without
    /// one. False, with what is different, also when the system cannot rule out that it was changed.
    virtual bool isSameMedium(zel::String& /*difference*/) { return true; }
    /// Who uses the drive beside this lease; looked for again at each call.
    virtual zel::Array<zel::String> users() = 0;
    /// False when partitions or volumes of the drive could not be given back to the system. The drive itself
    /// stays in hand.
    virtual bool unlockVolumes(zel::Wording& /*reason*/) { return true; }
    /// See DeviceLockingManager.
    virtual zel::Array<VolumeContent> contents() = 0;
    virtual Encryption examineEncryption(zel::Wording& reason) = 0;
    /// Whether it takes writes in the order of its zones only (a host-managed zoned drive, ZBC), so that no
    /// sector can be overwritten and put back in its place.
    [[nodiscard]] virtual bool takesWritesInOrderOnly() const { return false; }
    /// Whether its protection information has application tags that belong to whoever wrote them (SPC-4,
    /// ATO): a write makes new ones, and nothing here could put the old ones back.
    [[nodiscard]] virtual bool holdsForeignTags() const { return false; }
    /// Whether what is written to it is still there when the process has ended.
    [[nodiscard]] virtual bool outlivesProcess() const { return true; }
    /// A handle to the drive; null on failure. Must not outlive the lease; one that only reads may be
    /// shared with other callers.
    virtual SharedBlockHandle openBlock(bool writable, zel::Wording& reason) = 0;

protected:
    explicit DeviceLease(LeasePurpose purpose) : m_purpose(purpose) {}
    [[nodiscard]] LeasePurpose purpose() const { return m_purpose; }

private:
    LeasePurpose m_purpose;
};

}  // namespace libDrive2
