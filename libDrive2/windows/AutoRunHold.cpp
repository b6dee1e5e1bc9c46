#include "libDrive2/windows/AutoRunHold.h"

#include "libDrive2/windows/DevicePath.h"
#include "zel/windows/DeviceQuery.h"

namespace libDrive2 {

/// PREVENT_MEDIA_REMOVAL is one BOOLEAN: here, whether notices of media are held back.
bool AutoRunHold::tell(bool prevents) {
    const std::uint8_t prevention[] = {static_cast<std::uint8_t>(prevents ? 1 : 0)};
    return zel::tellDevice(m_drive.get(), IOCTL_STORAGE_MCN_CONTROL, prevention);
}

bool AutoRunHold::hold(const zel::String& path) {
    if (m_drive)
        return true;
    m_drive = openPath(path, FILE_READ_ATTRIBUTES, zel::kShareContents, 0);
    if (m_drive && tell(true))
        return true;
    m_drive.reset();
    return false;
}

bool AutoRunHold::letGo() {
    if (!m_drive)
        return false;
    const bool done = tell(false);
    return m_drive.reset() && done;
}

}  // namespace libDrive2
