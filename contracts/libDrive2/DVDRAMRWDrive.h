#pragma once

#include "libDrive2/RecordableDrive.h"

namespace libDrive2 {

/// DVD-RAM.
class DVDRAMRWDrive : public RecordableDrive {
public:
    using RecordableDrive::RecordableDrive;

protected:
    RecordingMethod recordingMethod(_MMC_PROFILES profile) override;
};

}  // namespace libDrive2
