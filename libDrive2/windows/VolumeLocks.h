#pragma once

#include <string>
#include <utility>
#include <vector>

#include "libDrive2/BlockHandle.h"
#include "libDrive2/windows/VolumeMap.h"

namespace libDrive2 {

/// Volumes that are locked and dismounted for this process alone. The handles stay open all the time: the
/// system refuses writes to sectors of a volume that is mounted, and mounts one again when the handle that
/// locked it is closed.
class VolumeLocks {
public:
    VolumeLocks() = default;
    ~VolumeLocks();
    VolumeLocks(const VolumeLocks&) = delete;
    VolumeLocks& operator=(const VolumeLocks&) = delete;

    /// All or none of them, and on failure none of those before either. The failure's text tells of the
    /// volume, and what type of error that is. Waits a second for programs that look at a volume only for a
    /// moment.
    DeviceStatus take(const std::vector<SystemVolume>& volumes);
    /// Gives them back; false, with which and why, when one could not be.
    bool release(zel::Wording& reason);
    [[nodiscard]] bool holds(const SystemVolume& volume) const;

private:
    struct Locked {
        SystemVolume volume;
        zel::Handle handle;
    };

    DeviceStatus lock(const SystemVolume& volume);

    std::vector<Locked> m_locked;
};

}  // namespace libDrive2
