#include "libDrive2/windows/MountPoint.h"

#include "zel/Path.h"
#include "zel/windows/SystemCalls.h"
#include "zel/windows/Utf16.h"

namespace libDrive2 {

namespace fs = std::filesystem;

namespace {

constexpr DWORD kMostUnits = 1024;

}  // namespace

fs::path nearestExisting(const std::string& path) {
    std::error_code failed;
    fs::path existing = fs::absolute(zel::pathOf(path), failed).lexically_normal();
    while (!fs::exists(existing, failed) && existing.has_relative_path())
        existing = existing.parent_path();
    return existing;
}

std::wstring mountPointOf(const std::string& path) {
    wchar_t point[kMostUnits];
    const std::wstring existing = zel::longPath(zel::textOf(nearestExisting(path)));
    return zel::SystemCalls::current().getVolumePathName(existing, point, kMostUnits) != FALSE ? point : L"";
}

}  // namespace libDrive2
