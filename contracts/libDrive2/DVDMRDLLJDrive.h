#pragma once

#include "libDrive2/RecordableDrive.h"

namespace libDrive2 {

/// DVD-R DL with layer jump recording; other DVD-R and DVD-RW as DVDMinusDrive does.
class DVDMRDLLJDrive : public RecordableDrive {
public:
    using RecordableDrive::RecordableDrive;

protected:
    RecordingMethod recordingMethod(_MMC_PROFILES profile) override;
};

}  // namespace libDrive2
