#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "libDrive2/commands/Bytes.h"

namespace libDrive2 {

/// A stretch of a physical drive that a volume lies on; bytes.
struct DiskExtent {
    std::uint32_t disk = 0;  ///< the N of "\\.\PhysicalDriveN"
    std::uint64_t start = 0, bytes = 0;

    bool operator==(const DiskExtent&) const = default;
};

/// Those of VOLUME_DISK_EXTENTS, in the volume's order. Nothing where the answer tells of none, does not hold
/// all that it tells of, or one that no disk can have.
std::optional<std::vector<DiskExtent>> parseDiskExtents(Bytes answer);

}  // namespace libDrive2
