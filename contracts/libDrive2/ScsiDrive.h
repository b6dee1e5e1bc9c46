#pragma once

#include "libDrive2/Drive.h"
#include "libDrive2/ScsiPassThrough.h"

namespace libDrive2 {

struct DriveAction;

/// Common base of the drives that speak SCSI commands.
class ScsiDrive : public Drive {
public:
    explicit ScsiDrive(SharedScsiPassThrough passThrough);

    bool isMediaRemovable() override;
    bool isMediaPresent() override;
    bool isMediaLoading() override;
    bool reOpenHandle() override;

protected:
    _LIBDRIVE2_ERROR_TYPES doQueryDeviceInfo() override;
    _LIBDRIVE2_ERROR_TYPES doFlushCache() override;
    _LIBDRIVE2_ERROR_TYPES doStartDrive() override;
    _LIBDRIVE2_ERROR_TYPES doStopDrive() override;
    _LIBDRIVE2_ERROR_TYPES doPreventMediumRemoval(bool prevent) override;
    _LIBDRIVE2_ERROR_TYPES doEjectDrive() override;
    _LIBDRIVE2_ERROR_TYPES doLoadDrive() override;
    bool doAnswers() override;

    [[nodiscard]] const SharedScsiPassThrough& passThrough() const { return m_passThrough; }
    /// Sends a command; the action begins the text of a failure. All of the data must have moved.
    _LIBDRIVE2_ERROR_TYPES perform(const ScsiRequest& request, const DriveAction& action);

private:
    SharedScsiPassThrough m_passThrough;
    bool m_isRemovable = false;
};

}  // namespace libDrive2
