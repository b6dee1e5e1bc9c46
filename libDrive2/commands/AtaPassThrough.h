#pragma once

#include "libDrive2/AtaDevice.h"
#include "libDrive2/ScsiPassThrough.h"

namespace libDrive2::ata {

/// ATA commands through a SCSI path: ATA PASS-THROUGH(16) of SAT-3, with the registers asked back
/// where they can be believed.
ScsiRequest toPassThrough(const AtaRequest& request);
/// `request` is what was sent: where the answer had no room for all of an LBA, it tells the rest.
AtaResponse fromPassThrough(const ScsiResponse& response, const AtaRequest& request);

}  // namespace libDrive2::ata
