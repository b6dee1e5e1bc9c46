#pragma once

#include "zel/String.h"

namespace quix5 {

/// The name under which the loaded module registered itself; also the name of its resource package.
/// Empty before that.
const zel::String& registeredLibrary();

}  // namespace quix5
