#include "libDrive2/windows/MountPoint.h"

#include <filesystem>

#include "zel/Path.h"
#include "zel/windows/SystemCalls.h"
#include "zel/windows/Utf16.h"

namespace libDrive2 {

namespace fs = std::filesystem;

namespace {

constexpr DWORD kMostUnits = 1024;

/// The path itself, or the nearest folder above it that exists.
fs::path nearestExisting(const std::string& path) {
    std::error_code failed;
    fs::path existing = fs::absolute(zel::pathOf(path), failed).lexically_normal();
    while (!fs::exists(existing, failed) && existing.has_relative_path())
        existing = existing.parent_path();
    return existing;
}

}  // namespace

std::wstring mountPointOf(const std::string& path) {
    wchar_t point[kMostUnits];
    const std::wstring existing = zel::longPath(zel::textOf(nearestExisting(path)));
    return zel::SystemCalls::current().getVolumePathName(existing, point, kMostUnits) != FALSE ? point : L"";
}

std::string volumeAt(const std::wstring& mountPoint) {
    wchar_t volume[kMostUnits];
    if (mountPoint.empty() ||
        zel::SystemCalls::current().getVolumeNameForMountPoint(mountPoint, volume, kMostUnits) == FALSE)
        return {};
    std::wstring name = volume;
    if (name.ends_with(L'\\'))
        name.pop_back();
    return zel::fromWide(name);
}

}  // namespace libDrive2
