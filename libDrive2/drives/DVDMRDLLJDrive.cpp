#include "libDrive2/DVDMRDLLJDrive.h"

#include "libDrive2/drives/RecordingMethod.h"

namespace libDrive2 {

RecordingMethod DVDMRDLLJDrive::recordingMethod(_MMC_PROFILES profile) {
    RecordingMethod method = dvdMinusMethod(profile);
    const bool takesJumps =
        profile == kProfileDVDRDualLayerSequential || profile == kProfileDVDRDualLayerJump;
    if (!takesJumps || !method.parameters)
        return method;
    method.jumpsLayers = true;
    method.parameters->type = mmc::WriteType::layerJump;
    return method;
}

}  // namespace libDrive2
