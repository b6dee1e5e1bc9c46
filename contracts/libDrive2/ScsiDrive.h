#pragma once

#include "libDrive2/Drive.h"
#include "libDrive2/ScsiPassThrough.h"

namespace libDrive2 {

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

    [[nodiscard]] ScsiPassThrough& passThrough() { return *m_passThrough; }

private:
    SharedScsiPassThrough m_passThrough;
};

}  // namespace libDrive2
