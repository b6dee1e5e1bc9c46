#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "zel/windows/SystemCalls.h"

namespace testing_support {

using PlayedBytes = std::vector<std::uint8_t>;

/// A structure as the bytes that a driver answers with.
template <class Structure>
PlayedBytes bytesOf(const Structure& structure) {
    const auto* const first = reinterpret_cast<const std::uint8_t*>(&structure);
    return {first, first + sizeof structure};
}

/// One IOCTL as it reaches a driver.
struct PlayedRequest {
    DWORD code = 0;
    std::span<std::uint8_t> in;
    std::span<std::uint8_t> out;

    /// The input as a structure; all zeros where it is too short for one.
    template <class Structure>
    [[nodiscard]] Structure input() const {
        Structure structure{};
        if (in.size() >= sizeof structure)
            std::memcpy(&structure, in.data(), sizeof structure);
        return structure;
    }
};

/// What a driver answers: bytes, which are cut where they are longer than the caller's buffer, and an error.
struct PlayedAnswer {
    PlayedBytes bytes{};
    DWORD error = ERROR_SUCCESS;
};

/// A device, a volume or a file that calls reach by its path. Calls may change it at any time.
struct PlayedDevice {
    PlayedBytes content{};
    DWORD sectorBytes = 512;  ///< what unbuffered transfers must be multiples of
    bool isFile = false;      ///< has a size that getFileSize() tells
    bool isReadOnly = false;
    DWORD openError = ERROR_SUCCESS;
    DWORD refusedAccess = 0;  ///< opening with any of these bits is refused
    DWORD refusal = ERROR_ACCESS_DENIED;
    DWORD flushError = ERROR_SUCCESS;
    /// The error of transfers that touch the sector.
    std::map<std::uint64_t, DWORD> badReads{}, badWrites{};
    /// Transfers end here as if nothing followed, without an error.
    std::optional<std::uint64_t> shortAfter{};
    /// By code; what is not here is ERROR_INVALID_FUNCTION.
    std::map<DWORD, std::function<PlayedAnswer(const PlayedRequest&)>> drivers{};
    /// For handles' getFileInformation(); none is ERROR_INVALID_FUNCTION.
    std::optional<BY_HANDLE_FILE_INFORMATION> information{};
    std::wstring finalPath{};

    void answer(DWORD code, PlayedBytes bytes) {
        drivers[code] = [bytes = std::move(bytes)](const PlayedRequest&) { return PlayedAnswer{bytes}; };
    }
    void fail(DWORD code, DWORD error) {
        drivers[code] = [error](const PlayedRequest&) { return PlayedAnswer{{}, error}; };
    }
};

/// A volume for the calls that list them.
struct PlayedVolume {
    std::wstring name;                ///< "\\?\Volume{…}\"
    std::vector<std::wstring> paths;  ///< mount points, each with a backslash at its end
    std::wstring label, fileSystem;   ///< no file system: ERROR_UNRECOGNIZED_VOLUME
    UINT driveType = DRIVE_FIXED;
};

/// A Windows made of devices by path, for one test: installs itself for its life. Paths are compared without
/// regard to case. Transfers with an OVERLAPPED are pending until they are asked for.
class PlayedCalls : public zel::SystemCalls {
public:
    PlayedCalls() : m_before(install(this)) {}
    ~PlayedCalls() override { install(m_before); }
    PlayedCalls(const PlayedCalls&) = delete;
    PlayedCalls& operator=(const PlayedCalls&) = delete;

    /// The device of a path, made when it is not there yet.
    PlayedDevice& device(const std::wstring& path) { return m_devices[folded(path)]; }
    void remove(const std::wstring& path) { m_devices.erase(folded(path)); }
    std::vector<PlayedVolume> volumes;
    std::map<std::wstring, std::wstring> dosDevices;  ///< L"C:" and its target
    std::map<std::wstring, PlayedBytes> registry;     ///< L"key\\name" and its value
    std::wstring systemFolder = L"C:\\Windows";
    /// Paths that are no device's and do not begin with "\\.\" or "\\?\Volume" go to the system itself.
    bool reachesRealFiles = false;

    /// What happened, a line a call: "open PATH", "read PATH OFFSET+BYTES", "ioctl PATH CODE" (hexadecimal).
    std::vector<std::string> log;
    /// The call of this number, from 1, fails with `failure`; 0 for none. Calls that cannot fail do not
    /// count.
    unsigned failAt = 0;
    DWORD failure = ERROR_GEN_FAILURE;
    [[nodiscard]] unsigned calls() const { return m_calls; }
    [[nodiscard]] std::size_t openHandles() const { return m_handles.size(); }
    /// Transfers whose outcome nobody has asked for; and the most that there were at once.
    [[nodiscard]] std::size_t pending() const { return m_pending.size(); }
    [[nodiscard]] std::size_t mostPending() const { return m_mostPending; }
    /// Lines of the log that begin so, without regard to case.
    [[nodiscard]] unsigned logged(std::string_view beginning) const;

    HANDLE createFile(const std::wstring& path, DWORD access, DWORD share, DWORD disposition, DWORD flags,
                      SECURITY_ATTRIBUTES* security) override;
    BOOL closeHandle(HANDLE handle) override;
    HANDLE reopenFile(HANDLE original, DWORD access, DWORD share, DWORD flags) override;
    BOOL readFile(HANDLE file, void* data, DWORD bytes, DWORD* done, OVERLAPPED* overlapped) override;
    BOOL writeFile(HANDLE file, const void* data, DWORD bytes, DWORD* done, OVERLAPPED* overlapped) override;
    BOOL getOverlappedResult(HANDLE file, OVERLAPPED* overlapped, DWORD* done, BOOL wait) override;
    BOOL flushFileBuffers(HANDLE file) override;
    BOOL deviceIoControl(HANDLE device, DWORD code, void* in, DWORD inBytes, void* out, DWORD outBytes,
                         DWORD* returned) override;
    BOOL getFileSize(HANDLE file, LARGE_INTEGER* bytes) override;
    DWORD getFileType(HANDLE file) override;
    BOOL getFileInformation(HANDLE file, BY_HANDLE_FILE_INFORMATION* information) override;
    BOOL getFileInformationEx(HANDLE file, FILE_INFO_BY_HANDLE_CLASS kind, void* out, DWORD bytes) override;
    BOOL setFileInformation(HANDLE file, FILE_INFO_BY_HANDLE_CLASS kind, void* in, DWORD bytes) override;
    BOOL lockFile(HANDLE file, DWORD flags, DWORD low, DWORD high, OVERLAPPED* overlapped) override;
    BOOL unlockFile(HANDLE file, DWORD low, DWORD high, OVERLAPPED* overlapped) override;
    DWORD getFinalPath(HANDLE file, wchar_t* path, DWORD units, DWORD flags) override;
    DWORD getFileAttributes(const std::wstring& path) override;
    HANDLE findFirstVolume(wchar_t* name, DWORD units) override;
    BOOL findNextVolume(HANDLE search, wchar_t* name, DWORD units) override;
    BOOL findVolumeClose(HANDLE search) override;
    BOOL getVolumePathNames(const std::wstring& volume, wchar_t* paths, DWORD units, DWORD* needed) override;
    BOOL getVolumePathName(const std::wstring& path, wchar_t* mountPoint, DWORD units) override;
    BOOL getVolumeNameForMountPoint(const std::wstring& mountPoint, wchar_t* volume, DWORD units) override;
    BOOL getVolumeInformation(const std::wstring& root, wchar_t* label, DWORD labelUnits, DWORD* serial,
                              DWORD* flags, wchar_t* fileSystem, DWORD units) override;
    DWORD queryDosDevice(const wchar_t* device, wchar_t* target, DWORD units) override;
    UINT getDriveType(const std::wstring& root) override;
    DWORD getLogicalDrives() override;
    UINT getSystemFolder(wchar_t* path, UINT units) override;
    LONG getRegistryValue(const wchar_t* key, const wchar_t* name, DWORD types, void* data,
                          DWORD* bytes) override;

private:
    struct Opened {
        std::wstring path;  ///< by which its device is found
        std::string name;   ///< as it was opened
        DWORD access, share, flags;
        std::size_t volume = 0;  ///< of a search: the next one
    };
    struct Done {
        DWORD error, bytes;
    };

    static std::wstring folded(std::wstring path);
    /// Logs and counts; false, with the error set, when this is the call that is to fail.
    bool step(const std::string& line);
    HANDLE give(Opened opened);
    /// Of a handle that is not of this Windows, null: it is the system's.
    Opened* opened(HANDLE handle);
    /// Null, with the error set, for one that was removed since.
    PlayedDevice* deviceOf(const Opened& opened);
    DWORD move(const Opened& opened, bool writing, std::uint64_t offset, std::uint8_t* data, DWORD bytes,
               DWORD& done);
    BOOL transfer(HANDLE file, bool writing, std::uint8_t* data, DWORD bytes, DWORD* done,
                  OVERLAPPED* overlapped);
    /// The volume of a name or a mount point; null, with the error set, for none.
    const PlayedVolume* volumeOf(const std::wstring& root);

    SystemCalls* m_before;
    std::recursive_mutex m_mutex;
    std::map<std::wstring, PlayedDevice> m_devices;
    std::map<HANDLE, Opened> m_handles;
    std::map<OVERLAPPED*, Done> m_pending;
    std::size_t m_mostPending = 0;
    std::uintptr_t m_nextHandle = 0x7F000001;  // the system's own are multiples of 4
    unsigned m_calls = 0;
};

}  // namespace testing_support
