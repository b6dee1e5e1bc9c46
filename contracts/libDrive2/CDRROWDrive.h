#pragma once

#include "libDrive2/RecordableDrive.h"

namespace libDrive2 {

/// CD-RW formatted for restricted overwrite: in fixed packets.
class CDRROWDrive : public RecordableDrive {
public:
    using RecordableDrive::RecordableDrive;

protected:
    RecordingMethod recordingMethod(_MMC_PROFILES profile) override;
    bool isFormatted() override;
};

}  // namespace libDrive2
