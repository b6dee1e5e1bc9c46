#include "libDrive2/linux/MediumProbe.h"

#include <fcntl.h>
#include <linux/cdrom.h>
#include <linux/major.h>
#include <sys/ioctl.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <climits>
#include <utility>

#include "libDrive2/linux/FileDescriptor.h"
#include "libDrive2/linux/SysfsBlock.h"

namespace libDrive2 {

MediumProbe::MediumProbe(std::string path, const struct stat& drive)
    : m_path(std::move(path)),
      m_isFloppy(S_ISBLK(drive.st_mode) && major(drive.st_rdev) == FLOPPY_MAJOR),
      m_isOptical(S_ISBLK(drive.st_mode) && SysfsBlock(drive.st_rdev).isOptical()),
      m_isRemovable(m_isFloppy || (S_ISBLK(drive.st_mode) && SysfsBlock(drive.st_rdev).isRemovable())) {}

bool MediumProbe::meansNoMedium(int errnoValue) const {
    return errnoValue == ENOMEDIUM || (m_isFloppy && errnoValue == ENXIO);
}

bool MediumProbe::hasMedium() const {
    if (!m_isRemovable)
        return true;
    // Opening makes the kernel look; but without O_NONBLOCK, it would also close the tray of an optical
    // drive.
    const int flags = O_RDONLY | O_CLOEXEC | (m_isOptical ? O_NONBLOCK : 0);
    const FileDescriptor opened(uninterrupted([&] { return ::open(m_path.c_str(), flags); }));
    if (!opened)
        return !meansNoMedium(errno);
    const int state = m_isOptical ? ioctl(opened.get(), CDROM_DRIVE_STATUS, CDSL_CURRENT) : CDS_NO_INFO;
    return state != CDS_NO_DISC && state != CDS_TRAY_OPEN && state != CDS_DRIVE_NOT_READY;
}

}  // namespace libDrive2
