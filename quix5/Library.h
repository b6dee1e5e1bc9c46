#pragma once

#include "zel/Export.h"
#include "zel/String.h"

namespace quix5 {

/// The name under which the loaded module registered itself; also the name of its resource package.
/// Empty before that.
DRIVETEST_API const zel::String& registeredLibrary();

}  // namespace quix5
