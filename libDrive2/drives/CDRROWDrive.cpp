#include "libDrive2/CDRROWDrive.h"

#include "libDrive2/drives/MmcUnit.h"
#include "libDrive2/drives/RecordingMethod.h"

namespace libDrive2 {

namespace {

constexpr std::uint32_t kPacketSectors = 32;

}  // namespace

RecordingMethod CDRROWDrive::recordingMethod(_MMC_PROFILES profile) {
    if (profile != kProfileCDRW)
        return {};
    RecordingMethod method;
    method.access = RecordingMethod::Access::random;
    method.unitSectors = kPacketSectors;
    method.parameters = mmc::WriteParameters{};
    method.parameters->packetSectors = kPacketSectors;
    method.parameters->dataIsIncremental = true;
    return method;
}

/// Tracks that were written in another way count as formatted for the drive, too.
bool CDRROWDrive::isFormatted() {
    const auto track = MmcUnit(*passThrough()).trackInformation(mmc::TrackAddress::track, 1);
    return track && track->fixedPackets && track->packetSectors == kPacketSectors &&
           RecordableDrive::isFormatted();
}

}  // namespace libDrive2
