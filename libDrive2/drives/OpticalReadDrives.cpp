#include "libDrive2/OpticalReadDrives.h"

#include <algorithm>

#include "libDrive2/drives/MmcUnit.h"

namespace libDrive2 {

bool CDDrive::checkForDataTracks(std::uint64_t start, std::uint64_t end) {
    const auto tracks = MmcUnit(*passThrough()).tracks();
    return std::any_of(tracks.begin(), tracks.end(), [&](const mmc::TocTrack& track) {
        return track.isData && track.start < end && start < track.end;
    });
}

}  // namespace libDrive2
