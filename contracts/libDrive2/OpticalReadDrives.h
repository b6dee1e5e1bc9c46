#pragma once

#include <cstdint>
#include <utility>

#include "libDrive2/ScsiMMCDrive.h"
#include "zel/Export.h"

// The read sides of optical media, a class for each family.

namespace libDrive2 {

/// The read side of CD media.
class DRIVETEST_API CDDrive : public ScsiMMCDrive {
public:
    explicit CDDrive(SharedScsiPassThrough device) : ScsiMMCDrive(std::move(device), kMediaCD) {}

    /// Whether a data track lies between the two LBAs; `end` is the first one behind.
    bool checkForDataTracks(std::uint64_t start, std::uint64_t end);
};

/// The read side of DVD media.
class DRIVETEST_API DVDDrive : public ScsiMMCDrive {
public:
    explicit DVDDrive(SharedScsiPassThrough device) : ScsiMMCDrive(std::move(device), kMediaDVD) {}
};

/// The read side of DVD-RAM media.
class DRIVETEST_API DVDRAMDrive : public ScsiMMCDrive {
public:
    explicit DVDRAMDrive(SharedScsiPassThrough device) : ScsiMMCDrive(std::move(device), kMediaDVDRAM) {}
};

/// The read side of BD media.
class DRIVETEST_API BDDrive : public ScsiMMCDrive {
public:
    explicit BDDrive(SharedScsiPassThrough device) : ScsiMMCDrive(std::move(device), kMediaBD) {}
};

}  // namespace libDrive2
