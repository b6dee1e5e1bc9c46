#pragma once

#include "libDrive2/ScsiMMCDrive.h"

namespace libDrive2 {

/// The read side of DVD media.
class DVDDrive : public ScsiMMCDrive {
public:
    using ScsiMMCDrive::ScsiMMCDrive;

protected:
    bool takesProfile(_MMC_PROFILES profile) override;
};

}  // namespace libDrive2
