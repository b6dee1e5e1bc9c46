#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <vector>

namespace libDrive2 {

/// A stretch of a device mapping and where it lies.
struct MappedStretch {
    std::uint64_t bytes = 0;
    dev_t device = 0;          ///< 0: on none (an error or zero target)
    std::uint64_t offset = 0;  ///< bytes
};

/// The table of a device mapping in the order of its sectors. Nothing when it cannot be asked, or when a
/// stretch lies in a way that is not one piece of one device.
std::optional<std::vector<MappedStretch>> mappingTableOf(dev_t mapping);

}  // namespace libDrive2
