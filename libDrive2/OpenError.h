#pragma once

#include "zel/String.h"

namespace libDrive2 {

/// Keeps why an open failed for lastOpenErrorStr(), and logs it at priority 4.
void noteOpenError(const zel::String& text);

}  // namespace libDrive2
