#include "libDrive2/OpticalReadDrives.h"

#include <algorithm>

#include "libDrive2/drives/MmcMedia.h"
#include "libDrive2/drives/MmcUnit.h"

namespace libDrive2 {

namespace {

bool isOf(_MMC_PROFILES profile, std::uint32_t family) {
    return (mmc::mediaKind(profile).capabilities & family) != 0;
}

}  // namespace

bool CDDrive::takesProfile(_MMC_PROFILES profile) {
    return isOf(profile, kMediaCD);
}
bool DVDDrive::takesProfile(_MMC_PROFILES profile) {
    return isOf(profile, kMediaDVD);
}
bool DVDRAMDrive::takesProfile(_MMC_PROFILES profile) {
    return isOf(profile, kMediaDVDRAM);
}
bool BDDrive::takesProfile(_MMC_PROFILES profile) {
    return isOf(profile, kMediaBD);
}

bool CDDrive::checkForDataTracks(std::uint64_t start, std::uint64_t end) {
    const auto tracks = MmcUnit(*passThrough()).tracks();
    return std::any_of(tracks.begin(), tracks.end(), [&](const mmc::TocTrack& track) {
        return track.isData && track.start < end && start < track.end;
    });
}

}  // namespace libDrive2
