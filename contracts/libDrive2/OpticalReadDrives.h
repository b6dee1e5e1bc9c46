#pragma once

#include <cstdint>

#include "libDrive2/ScsiMMCDrive.h"
#include "zel/Export.h"

// The read sides of optical media, a class for each family.

namespace libDrive2 {

/// The read side of CD media.
class DRIVETEST_API CDDrive : public ScsiMMCDrive {
public:
    using ScsiMMCDrive::ScsiMMCDrive;

    /// Whether a data track lies between the two LBAs; `end` is the first one behind.
    bool checkForDataTracks(std::uint64_t start, std::uint64_t end);

protected:
    bool takesProfile(_MMC_PROFILES profile) override;
};

/// The read side of DVD media.
class DRIVETEST_API DVDDrive : public ScsiMMCDrive {
public:
    using ScsiMMCDrive::ScsiMMCDrive;

protected:
    bool takesProfile(_MMC_PROFILES profile) override;
};

/// The read side of DVD-RAM media.
class DRIVETEST_API DVDRAMDrive : public ScsiMMCDrive {
public:
    using ScsiMMCDrive::ScsiMMCDrive;

protected:
    bool takesProfile(_MMC_PROFILES profile) override;
};

/// The read side of BD media.
class DRIVETEST_API BDDrive : public ScsiMMCDrive {
public:
    using ScsiMMCDrive::ScsiMMCDrive;

protected:
    bool takesProfile(_MMC_PROFILES profile) override;
};

}  // namespace libDrive2
