#pragma once

#include <string>

#include "zel/String.h"
#include "zel/windows/Handle.h"

namespace libDrive2 {

/// Whether a path leads to a device or a volume rather than to a file: "\\.\PhysicalDrive1", "\\.\X:",
/// "\\?\Volume{…}", the path of a device's interface, "\\?\GLOBALROOT\Device\…".
bool namesDevice(const zel::String& path);

/// Opens what a locator leads to, which is the drive in hand where there is one. Empty, with the system's
/// error set, on failure.
zel::Handle openPath(const zel::String& path, DWORD access, DWORD share, DWORD flags);

/// Opens what the path itself leads to, whatever is in hand. Others may read and write it, but neither rename
/// nor delete a file, so that its name keeps leading to it.
zel::Handle openShared(const zel::String& path, DWORD access);

}  // namespace libDrive2
