#pragma once

#include <cstdint>

#include "libDrive2/DriveTypes.h"
#include "libDrive2/ScsiPassThrough.h"
#include "zel/Export.h"

namespace libDrive2 {

struct DriveAction;

/// What disks over SCSI commands do alike, whatever moves their data: seeking (by SEEK, else VERIFY, else a
/// read), the motor, the tray, the medium's lock. `Base` is Drive or OSDrive.
template <class Base>
class DRIVETEST_API ScsiMechanics : public Base {
protected:
    using Base::Base;

    _LIBDRIVE2_ERROR_TYPES doSeekSector(std::uint64_t lba) override;
    _LIBDRIVE2_ERROR_TYPES doStartDrive() override;
    _LIBDRIVE2_ERROR_TYPES doStopDrive() override;
    _LIBDRIVE2_ERROR_TYPES doPreventMediumRemoval(bool prevent) override;
    _LIBDRIVE2_ERROR_TYPES doEjectDrive() override;
    _LIBDRIVE2_ERROR_TYPES doLoadDrive() override;

    /// Sends a command; the action begins the text of a failure. All of its data must have moved.
    virtual _LIBDRIVE2_ERROR_TYPES perform(const ScsiRequest& request, const DriveAction& action) = 0;

private:
    /// The best that the device has not refused yet.
    enum class SeekMethod : std::uint8_t { seek, verify, read };
    SeekMethod m_seekMethod = SeekMethod::seek;
};

}  // namespace libDrive2
