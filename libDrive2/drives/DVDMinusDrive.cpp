#include "libDrive2/DVDMinusDrive.h"

#include "libDrive2/drives/RecordingMethod.h"

namespace libDrive2 {

namespace {

constexpr std::uint32_t kBlockSectors = 16;  ///< of an error correction block

bool isMinus(_MMC_PROFILES profile) {
    return profile == kProfileDVDRSequential ||
           (profile >= kProfileDVDRWRestrictedOverwrite && profile <= kProfileDVDRWDualLayer);
}

}  // namespace

RecordingMethod dvdMinusMethod(_MMC_PROFILES profile) {
    if (!isMinus(profile))
        return {};
    RecordingMethod method;
    method.unitSectors = kBlockSectors;
    method.parameters = mmc::WriteParameters{};
    method.parameters->dataIsIncremental = true;
    method.parameters->laterSessionsAllowed = true;
    if (profile == kProfileDVDRWRestrictedOverwrite) {
        method.access = RecordingMethod::Access::random;
        method.parameters->packetSectors = kBlockSectors;
        return method;
    }
    method.access = RecordingMethod::Access::sequential;
    method.reservesTrack = true;
    method.parameters->linkSectors = kBlockSectors;
    // A minimally blanked DVD-RW takes a whole disc at once only.
    if (profile == kProfileDVDRWSequential || profile == kProfileDVDRWDualLayer)
        method.blanking = BlankType::full;
    return method;
}

RecordingMethod DVDMinusDrive::recordingMethod(_MMC_PROFILES profile) {
    return dvdMinusMethod(profile);
}

}  // namespace libDrive2
