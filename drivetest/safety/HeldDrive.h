#pragma once

#include <memory>
#include <string>

#include "libDrive2/DeviceLease.h"
#include "quix5/DiagDevice.h"

namespace drivetest {

/// The drive of a run that writes, in hand from before it is shown until its journal is settled: what is
/// shown, confirmed, journaled and written is this drive, wherever its path leads by then.
class HeldDrive {
public:
    /// Takes the drive for this process alone, and replaces what `device` says of its identity by what the
    /// drive in hand says. False when it cannot be had, see failure().
    bool take(quix5::DiagDevice& device);
    [[nodiscard]] bool isHeld() const { return m_lease != nullptr; }
    /// Why it could not be taken.
    [[nodiscard]] const libDrive2::DeviceStatus& failure() const { return m_failure; }
    /// The lease; only while it is held.
    [[nodiscard]] libDrive2::DeviceLease& lease() const { return *m_lease; }
    /// With model and serial number, for people and for the journal.
    [[nodiscard]] const libDrive2::DriveIdentity& identity() const { return m_identity; }
    /// Whether it is still the drive that was shown. False after a sentence in `difference`.
    bool isUnchanged(std::string& difference) const;
    /// The same, and with the medium that was shown: a bus that was reset may raise doubt of that.
    bool isAsShown(std::string& difference) const;

private:
    std::unique_ptr<libDrive2::DeviceLease> m_lease;
    libDrive2::DeviceStatus m_failure;
    libDrive2::DriveIdentity m_identity;
};

/// What the lease's drive is, with what the inventory tells of it to people.
libDrive2::DriveIdentity identityOf(const libDrive2::DeviceLease& lease, const quix5::DiagDevice& device);

}  // namespace drivetest
