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
Handler readCapacity, readSectors, verifySectors, seekSector;
// OpticalWriting.cpp: sectors that are written.
Handler writeSectors, synchronizeCache;
// OpticalRecording.cpp: tracks and sessions.
Handler reserveTrack, closeTrackSession;
// OpticalFormatting.cpp: media as a whole.
Handler blankDisc, formatUnit, readFormatCapacities;
// OpticalReports.cpp: what the drive and the medium are.
Handler getConfiguration, getPerformance, readDiscInformation, readDiscStructure;
Handler readTrackInformation, readToc;

/// Whether a strict drive goes on with a track as the write parameters say; null for a new one.
OpticalRefusal checkWriteMode(const OpticalUnit& unit, const OpticalTrack* track);

}  // namespace libDrive2::optical
