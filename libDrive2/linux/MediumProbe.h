#pragma once

#include <sys/stat.h>

#include <string>

namespace libDrive2 {

/// What the kernel tells of the medium in a drive before the drive is opened for use. Blocks as long as the
/// drive takes to look: a floppy drive has to turn.
class MediumProbe {
public:
    /// `path` leads to the drive, whose status is `drive`.
    MediumProbe(std::string path, const struct stat& drive);

    /// Whether its medium can come and go.
    [[nodiscard]] bool isRemovable() const { return m_isRemovable; }
    /// Whether a medium is in it; of drives that tell nothing, yes. Closes no tray.
    [[nodiscard]] bool hasMedium() const;
    /// Whether an open failed with this errno because there is no medium.
    [[nodiscard]] bool meansNoMedium(int errnoValue) const;

private:
    std::string m_path;
    bool m_isFloppy;
    bool m_isOptical;
    bool m_isRemovable;
};

}  // namespace libDrive2
