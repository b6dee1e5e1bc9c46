#pragma once

#include "libDrive2/ScsiSBCDrive.h"
#include "zel/Export.h"

namespace libDrive2 {

/// A USB floppy drive (USB mass storage class, UFI command set 1.0).
class DRIVETEST_API UFIFloppyDrive : public ScsiSBCDrive {
public:
    explicit UFIFloppyDrive(SharedScsiPassThrough passThrough);

    bool isMediaRemovable() override;

protected:
    _LIBDRIVE2_ERROR_TYPES doQueryMediumInfo() override;
};

}  // namespace libDrive2
