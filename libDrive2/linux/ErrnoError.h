#pragma once

#include "libDrive2/BlockHandle.h"

namespace libDrive2 {

/// The one place that decodes errno of transfers and opens.
_LIBDRIVE2_ERROR_TYPES errorTypeOf(int errnoValue);
/// Type and the system's text, with what to do where that is known.
DeviceStatus errnoStatus(int errnoValue);

}  // namespace libDrive2
