#pragma once

#include <string>

#include "zel/Export.h"
#include "zel/windows/Windows.h"

namespace zel {

/// What others may do meanwhile with what is opened: read and write it; rename and delete it, too.
inline constexpr DWORD kShareContents = FILE_SHARE_READ | FILE_SHARE_WRITE;
inline constexpr DWORD kShareAll = kShareContents | FILE_SHARE_DELETE;

/// Every call through which the product reaches devices, volumes and their files on Windows: one method a
/// call, with the system's own meaning, so that tests can play the system's answers. All that fail set
/// GetLastError(). Paths are UTF-16. Any thread may call.
class DRIVETEST_API SystemCalls {
public:
    virtual ~SystemCalls() = default;

    /// The calls in force: the system's own unless others were installed.
    static SystemCalls& current();
    /// Installs others (not owned; null for the system's) and returns those before.
    static SystemCalls* install(SystemCalls* calls);

    // Handles. INVALID_HANDLE_VALUE on failure; the caller closes.
    virtual HANDLE createFile(const std::wstring& path, DWORD access, DWORD share, DWORD disposition,
                              DWORD flags, SECURITY_ATTRIBUTES* security = nullptr);
    virtual BOOL closeHandle(HANDLE handle);
    /// For a handle of the same process.
    virtual HANDLE reopenFile(HANDLE original, DWORD access, DWORD share, DWORD flags);

    // Transfers. With an OVERLAPPED, as of handles opened so, ERROR_IO_PENDING is no failure.
    virtual BOOL readFile(HANDLE file, void* data, DWORD bytes, DWORD* done, OVERLAPPED* overlapped);
    virtual BOOL writeFile(HANDLE file, const void* data, DWORD bytes, DWORD* done, OVERLAPPED* overlapped);
    virtual BOOL getOverlappedResult(HANDLE file, OVERLAPPED* overlapped, DWORD* done, BOOL wait);
    virtual BOOL flushFileBuffers(HANDLE file);

    // What a device or a volume is asked for.
    virtual BOOL deviceIoControl(HANDLE device, DWORD code, void* in, DWORD inBytes, void* out,
                                 DWORD outBytes, DWORD* returned);

    // Files.
    virtual BOOL getFileSize(HANDLE file, LARGE_INTEGER* bytes);
    virtual DWORD getFileType(HANDLE file);
    virtual BOOL getFileInformation(HANDLE file, BY_HANDLE_FILE_INFORMATION* information);
    virtual BOOL getFileInformationEx(HANDLE file, FILE_INFO_BY_HANDLE_CLASS kind, void* out, DWORD bytes);
    virtual BOOL setFileInformation(HANDLE file, FILE_INFO_BY_HANDLE_CLASS kind, void* in, DWORD bytes);
    virtual BOOL lockFile(HANDLE file, DWORD flags, DWORD low, DWORD high, OVERLAPPED* overlapped);
    virtual BOOL unlockFile(HANDLE file, DWORD low, DWORD high, OVERLAPPED* overlapped);
    virtual DWORD getFinalPath(HANDLE file, wchar_t* path, DWORD units, DWORD flags);
    virtual DWORD getFileAttributes(const std::wstring& path);

    // Named objects: they last as long as somebody has them open. Null on failure; the caller closes.
    /// Opens it, with ERROR_ALREADY_EXISTS, where somebody else has it.
    virtual HANDLE createEvent(const std::wstring& name);
    virtual HANDLE openEvent(const std::wstring& name);

    // Names of volumes and devices. Texts as the system gives them: lists end with an empty text.
    virtual HANDLE findFirstVolume(wchar_t* name, DWORD units);
    virtual BOOL findNextVolume(HANDLE search, wchar_t* name, DWORD units);
    virtual BOOL findVolumeClose(HANDLE search);
    virtual BOOL getVolumePathNames(const std::wstring& volume, wchar_t* paths, DWORD units, DWORD* needed);
    /// The mount point of the volume that a path lies on.
    virtual BOOL getVolumePathName(const std::wstring& path, wchar_t* mountPoint, DWORD units);
    virtual BOOL getVolumeNameForMountPoint(const std::wstring& mountPoint, wchar_t* volume, DWORD units);
    virtual BOOL getVolumeInformation(const std::wstring& root, wchar_t* label, DWORD labelUnits,
                                      DWORD* serial, DWORD* flags, wchar_t* fileSystem, DWORD units);
    virtual DWORD queryDosDevice(const wchar_t* device, wchar_t* target, DWORD units);
    virtual UINT getDriveType(const std::wstring& root);
    virtual DWORD getLogicalDrives();
    /// The folder of Windows itself.
    virtual UINT getSystemFolder(wchar_t* path, UINT units);
    /// A value of the registry below HKEY_LOCAL_MACHINE; ERROR_SUCCESS or the error. Sizes are bytes.
    virtual LONG getRegistryValue(const wchar_t* key, const wchar_t* name, DWORD types, void* data,
                                  DWORD* bytes);

    virtual BOOL createDirectory(const std::wstring& path, SECURITY_ATTRIBUTES* security);

    // Files by the open folder that they lie in: no path plays a part.
    /// NtCreateFile with its own values; an empty name opens the folder itself again. A name that stays only
    /// until others have closed its file gives ERROR_DELETE_PENDING.
    virtual HANDLE createFileIn(HANDLE folder, const std::wstring& name, DWORD access, DWORD share,
                                DWORD disposition, DWORD options, void* security = nullptr);
    /// Gives a file another name in that folder, in place of a file that has it.
    virtual BOOL renameFileIn(HANDLE file, HANDLE folder, const std::wstring& name);

    // Who may do what.
    virtual BOOL getSecurity(HANDLE file, SECURITY_INFORMATION kinds, void* descriptor, DWORD bytes,
                             DWORD* needed);
    /// Of the process.
    virtual BOOL openProcessToken(DWORD access, HANDLE* token);
    virtual BOOL getTokenInformation(HANDLE token, TOKEN_INFORMATION_CLASS kind, void* out, DWORD bytes,
                                     DWORD* needed);
    /// Of the rights that are in force, so of an administrator only when elevated.
    virtual BOOL checkTokenMembership(void* group, BOOL* isMember);
    virtual BOOL lookupAccount(void* identifier, wchar_t* name, DWORD* nameUnits, wchar_t* domain,
                               DWORD* domainUnits);
    /// A folder that Windows knows by a number (CSIDL), into MAX_PATH units; S_OK or the error.
    virtual LONG getKnownFolder(int number, wchar_t* path);
};

}  // namespace zel
