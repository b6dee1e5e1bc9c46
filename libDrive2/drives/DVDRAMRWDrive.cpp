#include "libDrive2/DVDRAMRWDrive.h"

#include "libDrive2/drives/RecordingMethod.h"

namespace libDrive2 {

RecordingMethod DVDRAMRWDrive::recordingMethod(_MMC_PROFILES profile) {
    constexpr std::uint32_t kBlockSectors = 16;
    RecordingMethod method;
    method.unitSectors = kBlockSectors;
    if (profile == kProfileDVDRAM)
        method.access = RecordingMethod::Access::random;
    return method;
}

}  // namespace libDrive2
