#pragma once

#include <memory>

#include "libDrive2/OSDrive.h"
#include "libDrive2/ScsiMechanics.h"
#include "zel/Export.h"

namespace libDrive2 {

/// A SCSI disk: bulk transfers through the block interface, everything else through pass-through commands.
class DRIVETEST_API OSScsiSBCDrive : public ScsiMechanics<OSDrive> {
public:
    OSScsiSBCDrive(SharedBlockHandle handle, SharedScsiPassThrough passThrough, zel::String osLocator);

    bool isMediaRemovable() override;
    bool isMediaPresent() override;
    std::unique_ptr<TemperatureAccessor> getTemperatureAccessor() override;
    bool reOpenHandle() override;

protected:
    _LIBDRIVE2_ERROR_TYPES doQueryDeviceInfo() override;
    _LIBDRIVE2_ERROR_TYPES doSyncCache() override;
    _LIBDRIVE2_ERROR_TYPES doFlushCache() override;
    _LIBDRIVE2_ERROR_TYPES perform(const ScsiRequest& request, const DriveAction& action) override;
    DeviceStatus explain(DeviceStatus status) override;

private:
    SharedScsiPassThrough m_passThrough;
    bool m_isRemovable = false;
};

}  // namespace libDrive2
