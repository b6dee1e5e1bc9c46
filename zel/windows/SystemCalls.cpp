#include "zel/windows/SystemCalls.h"

#include <shlobj.h>
#include <winternl.h>

#include <atomic>
#include <cstring>
#include <vector>

namespace zel {

namespace {

constexpr NTSTATUS kDeletePending = static_cast<NTSTATUS>(0xC0000056);
constexpr auto kRenameInformation = static_cast<FILE_INFORMATION_CLASS>(10);

std::atomic<SystemCalls*> installed{nullptr};

/// The calls of the system's kernel give their outcome otherwise.
BOOL succeeded(NTSTATUS status) {
    if (status >= 0)
        return TRUE;
    SetLastError(status == kDeletePending ? ERROR_DELETE_PENDING : RtlNtStatusToDosError(status));
    return FALSE;
}

/// What a thread waits with for the end of its device control.
struct ThreadEvent {
    ThreadEvent() : handle(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}
    ~ThreadEvent() {
        if (handle != nullptr)
            CloseHandle(handle);
    }
    ThreadEvent(const ThreadEvent&) = delete;
    ThreadEvent& operator=(const ThreadEvent&) = delete;
    HANDLE handle;
};

}  // namespace

SystemCalls& SystemCalls::current() {
    static SystemCalls system;
    SystemCalls* const calls = installed.load();
    return calls != nullptr ? *calls : system;
}

SystemCalls* SystemCalls::install(SystemCalls* calls) {
    return installed.exchange(calls);
}

HANDLE SystemCalls::createFile(const std::wstring& path, DWORD access, DWORD share, DWORD disposition,
                               DWORD flags, SECURITY_ATTRIBUTES* security) {
    return CreateFileW(path.c_str(), access, share, security, disposition, flags, nullptr);
}

BOOL SystemCalls::closeHandle(HANDLE handle) {
    return CloseHandle(handle);
}

HANDLE SystemCalls::reopenFile(HANDLE original, DWORD access, DWORD share, DWORD flags) {
    return ReOpenFile(original, access, share, flags);
}

BOOL SystemCalls::readFile(HANDLE file, void* data, DWORD bytes, DWORD* done, OVERLAPPED* overlapped) {
    return ReadFile(file, data, bytes, done, overlapped);
}

BOOL SystemCalls::writeFile(HANDLE file, const void* data, DWORD bytes, DWORD* done, OVERLAPPED* overlapped) {
    return WriteFile(file, data, bytes, done, overlapped);
}

BOOL SystemCalls::getOverlappedResult(HANDLE file, OVERLAPPED* overlapped, DWORD* done, BOOL wait) {
    return GetOverlappedResult(file, overlapped, done, wait);
}

BOOL SystemCalls::flushFileBuffers(HANDLE file) {
    return FlushFileBuffers(file);
}

/// Also right for handles that were opened with FILE_FLAG_OVERLAPPED, of which several threads may wait.
BOOL SystemCalls::deviceIoControl(HANDLE device, DWORD code, void* in, DWORD inBytes, void* out,
                                  DWORD outBytes, DWORD* returned) {
    thread_local const ThreadEvent event;
    if (event.handle == nullptr) {
        // Without one, what is still under way could not be told from what has ended.
        SetLastError(ERROR_NO_SYSTEM_RESOURCES);
        return FALSE;
    }
    OVERLAPPED overlapped{};
    overlapped.hEvent = event.handle;
    if (DeviceIoControl(device, code, in, inBytes, out, outBytes, returned, &overlapped) != FALSE)
        return TRUE;
    return GetLastError() == ERROR_IO_PENDING ? GetOverlappedResult(device, &overlapped, returned, TRUE)
                                              : FALSE;
}

BOOL SystemCalls::getFileSize(HANDLE file, LARGE_INTEGER* bytes) {
    return GetFileSizeEx(file, bytes);
}

DWORD SystemCalls::getFileType(HANDLE file) {
    return GetFileType(file);
}

BOOL SystemCalls::getFileInformation(HANDLE file, BY_HANDLE_FILE_INFORMATION* information) {
    return GetFileInformationByHandle(file, information);
}

BOOL SystemCalls::getFileInformationEx(HANDLE file, FILE_INFO_BY_HANDLE_CLASS kind, void* out, DWORD bytes) {
    return GetFileInformationByHandleEx(file, kind, out, bytes);
}

BOOL SystemCalls::setFileInformation(HANDLE file, FILE_INFO_BY_HANDLE_CLASS kind, void* in, DWORD bytes) {
    return SetFileInformationByHandle(file, kind, in, bytes);
}

BOOL SystemCalls::lockFile(HANDLE file, DWORD flags, DWORD low, DWORD high, OVERLAPPED* overlapped) {
    return LockFileEx(file, flags, 0, low, high, overlapped);
}

BOOL SystemCalls::unlockFile(HANDLE file, DWORD low, DWORD high, OVERLAPPED* overlapped) {
    return UnlockFileEx(file, 0, low, high, overlapped);
}

DWORD SystemCalls::getFinalPath(HANDLE file, wchar_t* path, DWORD units, DWORD flags) {
    return GetFinalPathNameByHandleW(file, path, units, flags);
}

DWORD SystemCalls::getFileAttributes(const std::wstring& path) {
    return GetFileAttributesW(path.c_str());
}

HANDLE SystemCalls::createEvent(const std::wstring& name) {
    return CreateEventW(nullptr, TRUE, FALSE, name.c_str());
}

HANDLE SystemCalls::openEvent(const std::wstring& name) {
    return OpenEventW(SYNCHRONIZE, FALSE, name.c_str());
}

HANDLE SystemCalls::findFirstVolume(wchar_t* name, DWORD units) {
    return FindFirstVolumeW(name, units);
}

BOOL SystemCalls::findNextVolume(HANDLE search, wchar_t* name, DWORD units) {
    return FindNextVolumeW(search, name, units);
}

BOOL SystemCalls::findVolumeClose(HANDLE search) {
    return FindVolumeClose(search);
}

BOOL SystemCalls::getVolumePathNames(const std::wstring& volume, wchar_t* paths, DWORD units, DWORD* needed) {
    return GetVolumePathNamesForVolumeNameW(volume.c_str(), paths, units, needed);
}

BOOL SystemCalls::getVolumePathName(const std::wstring& path, wchar_t* mountPoint, DWORD units) {
    return GetVolumePathNameW(path.c_str(), mountPoint, units);
}

BOOL SystemCalls::getVolumeNameForMountPoint(const std::wstring& mountPoint, wchar_t* volume, DWORD units) {
    return GetVolumeNameForVolumeMountPointW(mountPoint.c_str(), volume, units);
}

BOOL SystemCalls::getVolumeInformation(const std::wstring& root, wchar_t* label, DWORD labelUnits,
                                       DWORD* serial, DWORD* flags, wchar_t* fileSystem, DWORD units) {
    DWORD longestName = 0;
    return GetVolumeInformationW(root.c_str(), label, labelUnits, serial, &longestName, flags, fileSystem,
                                 units);
}

DWORD SystemCalls::queryDosDevice(const wchar_t* device, wchar_t* target, DWORD units) {
    return QueryDosDeviceW(device, target, units);
}

UINT SystemCalls::getDriveType(const std::wstring& root) {
    return GetDriveTypeW(root.c_str());
}

DWORD SystemCalls::getLogicalDrives() {
    return GetLogicalDrives();
}

UINT SystemCalls::getSystemFolder(wchar_t* path, UINT units) {
    return GetSystemWindowsDirectoryW(path, units);
}

LONG SystemCalls::getRegistryValue(const wchar_t* key, const wchar_t* name, DWORD types, void* data,
                                   DWORD* bytes) {
    return RegGetValueW(HKEY_LOCAL_MACHINE, key, name, types, nullptr, data, bytes);
}

BOOL SystemCalls::createDirectory(const std::wstring& path, SECURITY_ATTRIBUTES* security) {
    return CreateDirectoryW(path.c_str(), security);
}

HANDLE SystemCalls::createFileIn(HANDLE folder, const std::wstring& name, DWORD access, DWORD share,
                                 DWORD disposition, DWORD options, void* security) {
    std::wstring text = name;
    const auto bytes = static_cast<USHORT>(text.size() * sizeof(wchar_t));
    UNICODE_STRING counted{bytes, bytes, text.data()};
    OBJECT_ATTRIBUTES file{};
    InitializeObjectAttributes(&file, &counted, OBJ_CASE_INSENSITIVE, folder, security);
    IO_STATUS_BLOCK done{};
    HANDLE opened = INVALID_HANDLE_VALUE;
    return succeeded(NtCreateFile(&opened, access, &file, &done, nullptr, FILE_ATTRIBUTE_NORMAL, share,
                                  disposition, options, nullptr, 0)) != FALSE
               ? opened
               : INVALID_HANDLE_VALUE;
}

BOOL SystemCalls::renameFileIn(HANDLE file, HANDLE folder, const std::wstring& name) {
    const std::size_t nameBytes = name.size() * sizeof(wchar_t);
    std::vector<std::uint64_t> space((sizeof(FILE_RENAME_INFO) + nameBytes) / sizeof(std::uint64_t) + 1);
    auto* const rename = reinterpret_cast<FILE_RENAME_INFO*>(space.data());
    rename->ReplaceIfExists = TRUE;
    rename->RootDirectory = folder;
    rename->FileNameLength = static_cast<DWORD>(nameBytes);
    std::memcpy(rename->FileName, name.data(), nameBytes);
    IO_STATUS_BLOCK done{};
    return succeeded(NtSetInformationFile(
        file, &done, rename, static_cast<ULONG>(space.size() * sizeof(std::uint64_t)), kRenameInformation));
}

BOOL SystemCalls::getSecurity(HANDLE file, SECURITY_INFORMATION kinds, void* descriptor, DWORD bytes,
                              DWORD* needed) {
    return GetKernelObjectSecurity(file, kinds, descriptor, bytes, needed);
}

BOOL SystemCalls::openProcessToken(DWORD access, HANDLE* token) {
    return OpenProcessToken(GetCurrentProcess(), access, token);
}

BOOL SystemCalls::getTokenInformation(HANDLE token, TOKEN_INFORMATION_CLASS kind, void* out, DWORD bytes,
                                      DWORD* needed) {
    return GetTokenInformation(token, kind, out, bytes, needed);
}

BOOL SystemCalls::checkTokenMembership(void* group, BOOL* isMember) {
    return CheckTokenMembership(nullptr, group, isMember);
}

BOOL SystemCalls::lookupAccount(void* identifier, wchar_t* name, DWORD* nameUnits, wchar_t* domain,
                                DWORD* domainUnits) {
    SID_NAME_USE kind{};
    return LookupAccountSidW(nullptr, identifier, name, nameUnits, domain, domainUnits, &kind);
}

/// From the registry, not by shell32.dll: a program that has it loaded is not told of the end of the session.
LONG SystemCalls::getKnownFolder(int number, wchar_t* path) {
    const bool isOfAll = number == CSIDL_COMMON_APPDATA;
    DWORD bytes = MAX_PATH * sizeof *path;
    if (!isOfAll && number != CSIDL_LOCAL_APPDATA)
        return ERROR_NOT_SUPPORTED;
    return RegGetValueW(isOfAll ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER,
                        L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders",
                        isOfAll ? L"Common AppData" : L"Local AppData", RRF_RT_REG_SZ, nullptr, path, &bytes);
}

}  // namespace zel
