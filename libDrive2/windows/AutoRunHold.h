#pragma once

#include "zel/String.h"
#include "zel/windows/Handle.h"

namespace libDrive2 {

/// Keeps Windows from noticing media that come to a drive, and so from playing or mounting what is on them.
/// Lasts until it is let go, or this object ends: a handle of its own stays open for it, as closing the
/// handle lets go, too.
class AutoRunHold {
public:
    /// False, holding nothing, where the drive's driver does not know of media that come.
    bool hold(const zel::String& path);
    /// False when nothing was held, or the system did not take it back.
    bool letGo();

private:
    bool tell(bool prevents);

    zel::Handle m_drive;
};

}  // namespace libDrive2
