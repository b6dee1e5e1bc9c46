#include "libDrive2/CDDrive.h"

#include <algorithm>

#include "libDrive2/drives/MmcMedia.h"
#include "libDrive2/drives/MmcUnit.h"

namespace libDrive2 {

bool CDDrive::takesProfile(_MMC_PROFILES profile) {
    return (mmc::mediaKind(profile).capabilities & kMediaCD) != 0;
}

bool CDDrive::checkForDataTracks(std::uint64_t start, std::uint64_t end) {
    const auto tracks = MmcUnit(*passThrough()).tracks();
    return std::any_of(tracks.begin(), tracks.end(), [&](const mmc::TocTrack& track) {
        return track.isData && track.start <= end && start < track.end;
    });
}

}  // namespace libDrive2
