#pragma once

#include <string>
#include <utility>
#include <vector>

#include "libDrive2/DriveIdentity.h"
#include "zel/Words.h"
#include "zel/windows/Handle.h"

namespace libDrive2 {

/// Keeps the processes of this machine that agree on it from each other: many may read a drive, one writes to
/// it alone. Windows opens a disk for whoever asks, whatever others do with it, so drives are claimed by
/// named objects of the system, which end with the process that has them; files by a lock on them.
class DriveClaim {
public:
    ~DriveClaim() { release(); }
    /// Of a drive that messages call by this path.
    explicit DriveClaim(zel::String path) : m_path(std::move(path)) {}
    DriveClaim(const DriveClaim&) = delete;
    DriveClaim& operator=(const DriveClaim&) = delete;

    /// The whole disks that the extents lie on: a test of a volume keeps those of its neighbours away, too.
    /// False, holding nothing, with a sentence in `problem`.
    bool take(const std::vector<StorageExtent>& storage, bool exclusive, zel::Wording& problem);
    /// A file, through a handle that may write to it when it is taken exclusively.
    bool takeFile(zel::Handle file, bool exclusive, zel::Wording& problem);
    /// False when the system did not take back a lock.
    bool release();

private:
    bool takeDisk(const std::wstring& name, bool exclusive, zel::Wording& problem);

    zel::String m_path;
    std::vector<zel::Handle> m_objects;
    zel::Handle m_file;
};

}  // namespace libDrive2
