#pragma once

#include "libDrive2/RecordableDrive.h"

namespace libDrive2 {

/// DVD-R and DVD-RW: incrementally, or a formatted DVD-RW by restricted overwrite.
class DVDMinusDrive : public RecordableDrive {
public:
    using RecordableDrive::RecordableDrive;

protected:
    RecordingMethod recordingMethod(_MMC_PROFILES profile) override;
};

}  // namespace libDrive2
