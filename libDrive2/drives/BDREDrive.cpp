#include "libDrive2/BDREDrive.h"

#include "libDrive2/drives/RecordingMethod.h"

namespace libDrive2 {

RecordingMethod BDREDrive::recordingMethod(_MMC_PROFILES profile) {
    constexpr std::uint32_t kClusterSectors = 32;
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
