#include <algorithm>
#include <cstring>
#include <cwctype>

#include "support/windows/PlayedCalls.h"
#include "zel/windows/Utf16.h"

// Which names PlayedCalls gives.

namespace testing_support {

namespace {

/// Copies a text, which may hold zeros, and one zero more; false, with the error set, where it does not fit.
bool copyText(const std::wstring& text, wchar_t* out, DWORD units, DWORD error) {
    if (text.size() < units) {
        std::copy_n(text.c_str(), text.size() + 1, out);
        return true;
    }
    SetLastError(error);
    return false;
}

BOOL failWith(DWORD error) {
    SetLastError(error);
    return FALSE;
}

}  // namespace

const PlayedVolume* PlayedCalls::volumeOf(const std::wstring& root) {
    const auto isSame = [wanted = folded(root)](const std::wstring& name) { return folded(name) == wanted; };
    const auto found = std::ranges::find_if(volumes, [&](const PlayedVolume& volume) {
        return isSame(volume.name) || std::ranges::any_of(volume.paths, isSame);
    });
    if (found != volumes.end())
        return &*found;
    SetLastError(ERROR_FILE_NOT_FOUND);
    return nullptr;
}

DWORD PlayedCalls::getFinalPath(HANDLE file, wchar_t* path, DWORD units, DWORD flags) {
    const std::lock_guard lock(m_mutex);
    const Opened* const of = opened(file);
    if (of == nullptr)
        return SystemCalls::getFinalPath(file, path, units, flags);
    const PlayedDevice* const device = deviceOf(*of);
    if (device == nullptr || device->finalPath.empty())
        return static_cast<DWORD>(failWith(ERROR_INVALID_FUNCTION));
    return copyText(device->finalPath, path, units, ERROR_MORE_DATA)
               ? static_cast<DWORD>(device->finalPath.size())
               : static_cast<DWORD>(device->finalPath.size() + 1);
}

DWORD PlayedCalls::getFileAttributes(const std::wstring& path) {
    const std::lock_guard lock(m_mutex);
    const auto found = m_devices.find(folded(path));
    if (found != m_devices.end())
        return found->second.isFile ? FILE_ATTRIBUTE_NORMAL : FILE_ATTRIBUTE_DEVICE;
    if (reachesRealFiles)
        return SystemCalls::getFileAttributes(path);
    SetLastError(ERROR_FILE_NOT_FOUND);
    return INVALID_FILE_ATTRIBUTES;
}

HANDLE PlayedCalls::findFirstVolume(wchar_t* name, DWORD units) {
    const std::lock_guard lock(m_mutex);
    if (!step("volumes"))
        return INVALID_HANDLE_VALUE;
    if (volumes.empty()) {
        SetLastError(ERROR_NO_MORE_FILES);
        return INVALID_HANDLE_VALUE;
    }
    return copyText(volumes.front().name, name, units, ERROR_FILENAME_EXCED_RANGE)
               ? give({L"volumes", "volumes", 0, 0, 0, 1})
               : INVALID_HANDLE_VALUE;
}

BOOL PlayedCalls::findNextVolume(HANDLE search, wchar_t* name, DWORD units) {
    const std::lock_guard lock(m_mutex);
    Opened* const place = opened(search);
    if (!step("next volume"))
        return FALSE;
    if (place == nullptr)
        return failWith(ERROR_INVALID_HANDLE);
    if (place->volume >= volumes.size())
        return failWith(ERROR_NO_MORE_FILES);
    return copyText(volumes[place->volume++].name, name, units, ERROR_FILENAME_EXCED_RANGE) ? TRUE : FALSE;
}

BOOL PlayedCalls::findVolumeClose(HANDLE search) {
    const std::lock_guard lock(m_mutex);
    return m_handles.erase(search) != 0 ? TRUE : failWith(ERROR_INVALID_HANDLE);
}

BOOL PlayedCalls::getVolumePathNames(const std::wstring& name, wchar_t* paths, DWORD units, DWORD* needed) {
    const std::lock_guard lock(m_mutex);
    if (!step("paths of " + zel::fromWide(name)))
        return FALSE;
    const PlayedVolume* const volume = volumeOf(name);
    if (volume == nullptr)
        return FALSE;
    std::wstring list;
    for (const std::wstring& path : volume->paths)
        list += path + L'\0';
    if (needed != nullptr)
        *needed = static_cast<DWORD>(list.size() + 1);
    return copyText(list, paths, units, ERROR_MORE_DATA) ? TRUE : FALSE;
}

BOOL PlayedCalls::getVolumePathName(const std::wstring& path, wchar_t* mountPoint, DWORD units) {
    const std::lock_guard lock(m_mutex);
    if (!step("volume of " + zel::fromWide(path)))
        return FALSE;
    std::wstring longest;
    for (const PlayedVolume& volume : volumes)
        for (const std::wstring& candidate : volume.paths)
            if (folded(path).starts_with(folded(candidate)) && candidate.size() > longest.size())
                longest = candidate;
    if (longest.empty())
        return failWith(ERROR_PATH_NOT_FOUND);
    return copyText(longest, mountPoint, units, ERROR_FILENAME_EXCED_RANGE) ? TRUE : FALSE;
}

BOOL PlayedCalls::getVolumeNameForMountPoint(const std::wstring& mountPoint, wchar_t* name, DWORD units) {
    const std::lock_guard lock(m_mutex);
    if (!step("volume at " + zel::fromWide(mountPoint)))
        return FALSE;
    const PlayedVolume* const volume = volumeOf(mountPoint);
    return volume != nullptr && copyText(volume->name, name, units, ERROR_FILENAME_EXCED_RANGE) ? TRUE
                                                                                                : FALSE;
}

BOOL PlayedCalls::getVolumeInformation(const std::wstring& root, wchar_t* label, DWORD labelUnits,
                                       DWORD* serial, DWORD* flags, wchar_t* fileSystem, DWORD units) {
    const std::lock_guard lock(m_mutex);
    if (!step("label of " + zel::fromWide(root)))
        return FALSE;
    const PlayedVolume* const volume = volumeOf(root);
    if (volume == nullptr)
        return FALSE;
    if (volume->fileSystem.empty())
        return failWith(ERROR_UNRECOGNIZED_VOLUME);
    if (serial != nullptr)
        *serial = 0x1234ABCD;
    if (flags != nullptr)
        *flags = 0;
    return (label == nullptr || copyText(volume->label, label, labelUnits, ERROR_MORE_DATA)) &&
                   (fileSystem == nullptr || copyText(volume->fileSystem, fileSystem, units, ERROR_MORE_DATA))
               ? TRUE
               : FALSE;
}

DWORD PlayedCalls::queryDosDevice(const wchar_t* name, wchar_t* target, DWORD units) {
    const std::lock_guard lock(m_mutex);
    if (!step("dos device"))
        return 0;
    std::wstring list;
    for (const auto& [link, place] : dosDevices)
        if (name == nullptr || folded(link) == folded(name))
            list += (name == nullptr ? link : place) + L'\0';
    if (list.empty() && name != nullptr)
        return static_cast<DWORD>(failWith(ERROR_FILE_NOT_FOUND));
    return copyText(list, target, units, ERROR_INSUFFICIENT_BUFFER) ? static_cast<DWORD>(list.size() + 1) : 0;
}

UINT PlayedCalls::getDriveType(const std::wstring& root) {
    const std::lock_guard lock(m_mutex);
    const PlayedVolume* const volume = volumeOf(root);
    return volume != nullptr ? volume->driveType : DRIVE_NO_ROOT_DIR;
}

DWORD PlayedCalls::getLogicalDrives() {
    const std::lock_guard lock(m_mutex);
    DWORD drives = 0;
    for (const PlayedVolume& volume : volumes)
        for (const std::wstring& path : volume.paths)
            if (path.size() == 3 && path[1] == L':')
                drives |= 1UL << (std::towupper(static_cast<std::wint_t>(path[0])) - L'A');
    return drives;
}

UINT PlayedCalls::getSystemFolder(wchar_t* path, UINT units) {
    const std::lock_guard lock(m_mutex);
    if (!step("system folder"))
        return 0;
    return copyText(systemFolder, path, units, ERROR_INSUFFICIENT_BUFFER)
               ? static_cast<UINT>(systemFolder.size())
               : 0;
}

LONG PlayedCalls::getRegistryValue(const wchar_t* key, const wchar_t* name, DWORD /*types*/, void* data,
                                   DWORD* bytes) {
    const std::lock_guard lock(m_mutex);
    if (!step("registry " + zel::fromWide(key)))
        return static_cast<LONG>(failure);
    const auto found = registry.find(std::wstring(key) + L'\\' + (name != nullptr ? name : L""));
    if (found == registry.end())
        return ERROR_FILE_NOT_FOUND;
    const DWORD room = bytes != nullptr && data != nullptr ? *bytes : 0;
    if (bytes != nullptr)
        *bytes = static_cast<DWORD>(found->second.size());
    if (data == nullptr)
        return ERROR_SUCCESS;
    if (room < found->second.size())
        return ERROR_MORE_DATA;
    std::memcpy(data, found->second.data(), found->second.size());
    return ERROR_SUCCESS;
}

}  // namespace testing_support
