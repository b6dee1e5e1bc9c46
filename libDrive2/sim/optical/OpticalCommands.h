#pragma once

#include "libDrive2/sim/optical/OpticalUnit.h"

namespace libDrive2::optical {

// The commands of MMC-6 and SPC-4 that the drive knows. Those that need a medium are called when one is
// ready.

using Handler = void(OpticalUnit& unit, OpticalCommand& command);

// OpticalControl.cpp: the drive itself.
Handler testUnitReady, requestSense, inquiry, modeSense, modeSelect, startStopUnit, preventAllowMediumRemoval;
Handler getEventStatusNotification, setCdSpeed, setStreaming;
// OpticalTransfers.cpp: sectors.
Handler readCapacity, readSectors, writeSectors, verifySectors, seekSector, synchronizeCache;
// OpticalRecording.cpp: tracks, sessions and formats.
Handler reserveTrack, closeTrackSession, blankDisc, formatUnit, readFormatCapacities;
// OpticalReports.cpp: what the drive and the medium are.
Handler getConfiguration, getPerformance, readDiscInformation, readDiscStructure;
Handler readTrackInformation, readToc;

}  // namespace libDrive2::optical
