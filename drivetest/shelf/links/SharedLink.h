#pragma once

#include <string>
#include <vector>

#include "zel/Words.h"

namespace drivetest {

/// A part of the way between drives and processor that several drives may share: a host adapter, a cable to
/// an expander or a hub, a port.
struct SharedLink {
    std::string id;                 ///< the same for all drives behind it
    zel::Wording name;              ///< as people find it: "SAS adapter 0000:03:00.0"
    double megabytesPerSecond = 0;  ///< what it carries of data; 0 where that is not known
};

/// The links of a drive, from the drive to the processor; empty where the system does not tell: of simulated
/// drives, image files, and on Windows.
std::vector<SharedLink> linksOf(const std::string& device);

/// MB/s that a drive of its kind has where it is fast: a disk's, or what its own cable carries; 0 where the
/// system does not tell.
double expectedRateOf(const std::string& device);

}  // namespace drivetest
