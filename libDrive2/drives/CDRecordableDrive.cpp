#include "libDrive2/CDRecordableDrive.h"

#include "libDrive2/drives/RecordingMethod.h"

namespace libDrive2 {

namespace {

/// A track takes single sectors; so many keep the drive's buffer filled.
constexpr std::uint32_t kUnitSectors = 32;

}  // namespace

RecordingMethod CDRecordableDrive::recordingMethod(_MMC_PROFILES profile) {
    if (profile != kProfileCDR && profile != kProfileCDRW)
        return {};
    RecordingMethod method;
    method.access = RecordingMethod::Access::sequential;
    method.unitSectors = kUnitSectors;
    if (profile == kProfileCDRW)
        method.blanking = BlankType::minimal;
    method.parameters = mmc::WriteParameters{};
    method.parameters->type = mmc::WriteType::trackAtOnce;
    method.parameters->laterSessionsAllowed = true;
    return method;
}

}  // namespace libDrive2
