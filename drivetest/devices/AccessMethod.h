#pragma once

#include "libDrive2/Drive.h"

namespace drivetest {

/// How the sectors of an opened drive are reached: "block", "blockAndScsi", "scsi", "ata", "nvme", "optical",
/// "floppy" or "usbFloppy". Records have these names.
const char* accessMethodOf(const libDrive2::Drive& drive);

}  // namespace drivetest
