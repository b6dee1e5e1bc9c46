#pragma once

#include <optional>

#include "libDrive2/AtaDevice.h"
#include "libDrive2/sim/SimAtaIdentify.h"

namespace libDrive2 {

// SMART feature set of ACS-2, as one of the simulated drives answers it.

/// The sector that a SMART command transfers to the host; nothing for one that the drive aborts.
std::optional<AtaSector> ataSmartAnswer(const AtaTaskFile& registers, SimMedium& medium);
/// A SMART command without data; false for one that the drive aborts.
bool ataSmartAction(const AtaTaskFile& registers, SimMedium& medium, AtaResponse& response);

/// DEVICE CONFIGURATION IDENTIFY of a drive that has the feature.
AtaSector ataConfigurationData(const SimMedium& medium);

/// The last byte makes the sum of all bytes 0.
void putAtaChecksum(AtaSector& data);

}  // namespace libDrive2
