#include "libDrive2/windows/DevicePath.h"

#include <algorithm>

#include "libDrive2/OpenLeases.h"
#include "zel/windows/DeviceQuery.h"
#include "zel/windows/Utf16.h"

namespace libDrive2 {

bool namesDevice(const zel::String& path) {
    const std::string text = path.utf8();
    if (!text.starts_with("\\\\.\\") && !text.starts_with("\\\\?\\"))
        return false;
    const std::string name = text.substr(4);
    // A device has no folders in it, so that a backslash leads to a file; what is below GLOBALROOT are the
    // system's own names of devices.
    constexpr std::string_view kOwnNames = "GLOBALROOT\\Device\\";
    return name.starts_with(kOwnNames) || (!name.empty() && name.find_first_of("\\/") == std::string::npos);
}

zel::Handle openPath(const zel::String& path, DWORD access, DWORD share, DWORD flags) {
    const std::wstring wide = zel::longPath(OpenLeases::pathOf(path).utf8());
    return zel::Handle(zel::SystemCalls::current().createFile(wide, access, share, OPEN_EXISTING, flags));
}

zel::Handle openShared(const zel::String& path, DWORD access) {
    return zel::openShared(zel::longPath(path.utf8()), access);
}

}  // namespace libDrive2
