#pragma once

#include "libDrive2/RecordableDrive.h"

namespace libDrive2 {

/// CD-R and CD-RW, written in tracks.
class CDRecordableDrive : public RecordableDrive {
public:
    using RecordableDrive::RecordableDrive;

protected:
    RecordingMethod recordingMethod(_MMC_PROFILES profile) override;
};

}  // namespace libDrive2
