#pragma once

#include "libDrive2/ScsiMMCDrive.h"

namespace libDrive2 {

/// The read side of CD media.
class CDDrive : public ScsiMMCDrive {
public:
    using ScsiMMCDrive::ScsiMMCDrive;

    /// Whether a data track lies between the two LBAs, both included.
    bool checkForDataTracks(std::uint64_t start, std::uint64_t end);

protected:
    bool takesProfile(_MMC_PROFILES profile) override;
};

}  // namespace libDrive2
