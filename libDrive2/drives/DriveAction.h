#pragma once

#include <cstdint>

#include "zel/String.h"

namespace libDrive2 {

/// What a drive was doing, kept apart from its text: most actions succeed and need none.
struct DriveAction {
    const char* what;  ///< "reading", or the whole for actions without sectors: "flushing the cache"
    std::uint64_t lba = 0;
    std::uint32_t count = 0;  ///< 0 for an action without sectors
};

/// "reading sectors 5 through 8 of NAME"; without " of NAME" when there is none.
zel::String describe(const DriveAction& action, const zel::String& name);

}  // namespace libDrive2
