#pragma once

#include <cstddef>

#include "libDrive2/BlockHandle.h"

namespace libDrive2 {

/// The one place that decodes what GetLastError() tells of transfers, opens and device controls.
_LIBDRIVE2_ERROR_TYPES errorTypeOf(unsigned long systemError);
/// Type and the system's text with its number, with what to do where that is known.
DeviceStatus systemStatus(unsigned long systemError);
/// That of the last call of this thread.
DeviceStatus lastSystemStatus();

/// Of a transfer that ended early without an error.
DeviceStatus partlyTransferred(std::size_t moved, std::size_t asked);

/// Of what is open no more, since it could not be opened again.
DeviceStatus notReopened();

/// Whether an error means that the drive holds no medium, or none that it has read in.
bool meansNoMedium(unsigned long systemError);

}  // namespace libDrive2
