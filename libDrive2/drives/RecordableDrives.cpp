#include "libDrive2/RecordableDrives.h"

#include "libDrive2/commands/MmcCommands.h"
#include "libDrive2/drives/MmcUnit.h"
#include "libDrive2/drives/RecordingMethod.h"

namespace libDrive2 {

namespace {

/// A CD's track takes single sectors; so many keep the drive's buffer filled.
constexpr std::uint32_t kTrackUnitSectors = 32;
constexpr std::uint32_t kPacketSectors = 32;
constexpr std::uint32_t kBlockSectors = 16;  ///< of an error correction block of DVDs
constexpr std::uint32_t kClusterSectors = 32;

bool isDvdMinus(_MMC_PROFILES profile) {
    return profile == kProfileDVDRSequential ||
           (profile >= kProfileDVDRWRestrictedOverwrite && profile <= kProfileDVDRWDualLayer);
}

RecordingMethod dvdMinusMethod(_MMC_PROFILES profile) {
    if (!isDvdMinus(profile))
        return {};
    RecordingMethod method;
    method.unitSectors = kBlockSectors;
    method.parameters = mmc::WriteParameters{};
    method.parameters->dataIsIncremental = true;
    if (profile == kProfileDVDRWRestrictedOverwrite) {
        method.access = RecordingMethod::Access::random;
        method.parameters->packetSectors = kBlockSectors;
        method.parametersMatter = false;
        return method;
    }
    method.access = RecordingMethod::Access::sequential;
    method.oneSession = profile == kProfileDVDRDualLayerSequential;
    method.parameters->laterSessionsAllowed = !method.oneSession;
    method.parameters->linkSectors = kBlockSectors;
    // It makes no difference, but some drives insist on it.
    if (profile == kProfileDVDRSequential)
        method.parameters->packetSectors = kBlockSectors;
    // A minimally blanked DVD-RW takes a whole disc at once only.
    if (profile == kProfileDVDRWSequential || profile == kProfileDVDRWDualLayer) {
        method.blanking = BlankType::full;
        method.needsFeature = mmc::kFeatureIncrementalStreaming;
    }
    return method;
}

}  // namespace

RecordingMethod CDRecordableDrive::recordingMethod(_MMC_PROFILES profile) {
    if (profile != kProfileCDR && profile != kProfileCDRW)
        return {};
    RecordingMethod method;
    method.access = RecordingMethod::Access::sequential;
    method.unitSectors = kTrackUnitSectors;
    if (profile == kProfileCDRW)
        method.blanking = BlankType::minimal;
    method.parameters = mmc::WriteParameters{};
    method.parameters->type = mmc::WriteType::trackAtOnce;
    method.parameters->laterSessionsAllowed = true;
    return method;
}

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

RecordingMethod DVDMinusDrive::recordingMethod(_MMC_PROFILES profile) {
    return dvdMinusMethod(profile);
}

RecordingMethod DVDMRDLLJDrive::recordingMethod(_MMC_PROFILES profile) {
    RecordingMethod method = dvdMinusMethod(profile);
    // A drive may know how to jump, and say so, with a medium that it does not record like that.
    if (profile != kProfileDVDRDualLayerJump || !method.parameters)
        return method;
    method.jumpsLayers = true;
    method.parameters->type = mmc::WriteType::layerJump;
    method.parameters->linkSectors = 0;
    return method;
}

/// Such media take no write parameters.
RecordingMethod DVDPlusDrive::recordingMethod(_MMC_PROFILES profile) {
    RecordingMethod method;
    method.unitSectors = kBlockSectors;
    if (profile == kProfileDVDPlusRW || profile == kProfileDVDPlusRWDualLayer)
        method.access = RecordingMethod::Access::random;
    else if (profile == kProfileDVDPlusR || profile == kProfileDVDPlusRDualLayer)
        method.access = RecordingMethod::Access::sequential;
    return method;
}

RecordingMethod DVDRAMRWDrive::recordingMethod(_MMC_PROFILES profile) {
    RecordingMethod method;
    method.unitSectors = kBlockSectors;
    if (profile == kProfileDVDRAM)
        method.access = RecordingMethod::Access::random;
    return method;
}

RecordingMethod BDREDrive::recordingMethod(_MMC_PROFILES profile) {
    RecordingMethod method;
    method.unitSectors = kClusterSectors;
    if (profile == kProfileBDRSequential)
        method.access = RecordingMethod::Access::sequential;
    else if (profile == kProfileBDRRandom || profile == kProfileBDRE)
        method.access = RecordingMethod::Access::random;
    method.takesOnce = profile == kProfileBDRRandom;
    return method;
}

}  // namespace libDrive2
