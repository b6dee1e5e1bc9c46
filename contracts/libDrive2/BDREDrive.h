#pragma once

#include "libDrive2/RecordableDrive.h"

namespace libDrive2 {

/// BD-R and BD-RE. A BD-R for random recording must be empty when the first recording on it begins.
class BDREDrive : public RecordableDrive {
public:
    using RecordableDrive::RecordableDrive;

protected:
    RecordingMethod recordingMethod(_MMC_PROFILES profile) override;
};

}  // namespace libDrive2
