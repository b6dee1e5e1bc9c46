#pragma once

#include <memory>

#include "libDrive2/OSDrive.h"
#include "libDrive2/ScsiPassThrough.h"

namespace libDrive2 {

struct DriveAction;

/// A SCSI disk: bulk transfers through the block interface, everything else through pass-through commands.
class OSScsiSBCDrive : public OSDrive {
public:
    OSScsiSBCDrive(SharedBlockHandle handle, SharedScsiPassThrough passThrough, zel::String osLocator);

    bool isMediaRemovable() override;
    bool isMediaPresent() override;
    std::unique_ptr<TemperatureAccessor> getTemperatureAccessor() override;
    bool reOpenHandle() override;

protected:
    _LIBDRIVE2_ERROR_TYPES doQueryDeviceInfo() override;
    _LIBDRIVE2_ERROR_TYPES doSeekSector(std::uint64_t lba) override;
    _LIBDRIVE2_ERROR_TYPES doSyncCache() override;
    _LIBDRIVE2_ERROR_TYPES doFlushCache() override;
    _LIBDRIVE2_ERROR_TYPES doStartDrive() override;
    _LIBDRIVE2_ERROR_TYPES doStopDrive() override;
    _LIBDRIVE2_ERROR_TYPES doPreventMediumRemoval(bool prevent) override;
    _LIBDRIVE2_ERROR_TYPES doEjectDrive() override;
    _LIBDRIVE2_ERROR_TYPES doLoadDrive() override;
    DeviceStatus explain(DeviceStatus status) override;

private:
    _LIBDRIVE2_ERROR_TYPES perform(const ScsiRequest& request, const DriveAction& action);

    SharedScsiPassThrough m_passThrough;
    bool m_isRemovable = false;
    bool m_canSeek = true;  ///< until the device says that it cannot
};

}  // namespace libDrive2
