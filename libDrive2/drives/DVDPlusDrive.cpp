#include "libDrive2/DVDPlusDrive.h"

#include "libDrive2/drives/RecordingMethod.h"

namespace libDrive2 {

/// Such media take no write parameters.
RecordingMethod DVDPlusDrive::recordingMethod(_MMC_PROFILES profile) {
    constexpr std::uint32_t kBlockSectors = 16;
    RecordingMethod method;
    method.unitSectors = kBlockSectors;
    if (profile == kProfileDVDPlusRW || profile == kProfileDVDPlusRWDualLayer)
        method.access = RecordingMethod::Access::random;
    else if (profile == kProfileDVDPlusR || profile == kProfileDVDPlusRDualLayer)
        method.access = RecordingMethod::Access::sequential;
    return method;
}

}  // namespace libDrive2
