#include "libDrive2/windows/WindowsJournalFile.h"

#include <algorithm>
#include <filesystem>
#include <vector>

#include "zel/Format.h"
#include "zel/Path.h"
#include "zel/Words.h"
#include "zel/windows/SystemCalls.h"

namespace libDrive2 {

namespace {

using zel::SystemCalls;

constexpr DWORD kQuotaExceeded = 1295;  // ERROR_DISK_QUOTA_EXCEEDED
constexpr std::size_t kZeros = std::size_t{1} << 20;

bool meansNoRoom(DWORD error) {
    return error == ERROR_DISK_FULL || error == ERROR_HANDLE_DISK_FULL || error == kQuotaExceeded ||
           error == ERROR_FILE_TOO_LARGE;
}

zel::String noRoom(const std::string& folder, std::uint64_t bytes) {
    std::error_code unknown;
    const auto space = std::filesystem::space(zel::pathOf(folder), unknown);
    return zel::words(
        "the journal needs {needed} MiB in {folder}, which has {left} MiB left: make room there, or choose "
        "another folder",
        {{"needed", (bytes + (1U << 20) - 1) >> 20},
         {"folder", folder},
         {"left", unknown ? std::uintmax_t{0} : space.available >> 20}});
}

/// Tells at once where there is too little room. What the file system does not know is left to filling.
DWORD allocate(HANDLE file, std::uint64_t bytes) {
    SystemCalls& calls = SystemCalls::current();
    USHORT uncompressed = COMPRESSION_FORMAT_NONE;
    DWORD returned = 0;
    FILE_ALLOCATION_INFO room{};
    room.AllocationSize.QuadPart = static_cast<LONGLONG>(bytes);
    (void)calls.deviceIoControl(file, FSCTL_SET_COMPRESSION, &uncompressed, sizeof uncompressed, nullptr, 0,
                                &returned);
    const bool isRefused = calls.setFileInformation(file, FileAllocationInfo, &room, sizeof room) == FALSE &&
                           meansNoRoom(GetLastError());
    return isRefused ? GetLastError() : ERROR_SUCCESS;
}

DWORD fill(HANDLE file, std::uint64_t bytes) {
    const std::vector<std::uint8_t> zeros(kZeros);
    while (bytes > 0) {
        DWORD written = 0;
        const auto piece = static_cast<DWORD>(std::min<std::uint64_t>(bytes, kZeros));
        if (SystemCalls::current().writeFile(file, zeros.data(), piece, &written, nullptr) == FALSE)
            return GetLastError();
        bytes -= written;
    }
    return SystemCalls::current().flushFileBuffers(file) != FALSE ? ERROR_SUCCESS : GetLastError();
}

}  // namespace

bool WindowsJournalFile::openHandle(bool writable, zel::String& reason) {
    auto handle = JournalHandle::open(m_file.get(), writable);
    if (handle == nullptr)
        return failWith(reason, zel::words("the journal {path} cannot be opened again", {{"path", m_path}}),
                        GetLastError());
    m_journal = handle.get();
    m_handle = SharedBlockHandle(std::unique_ptr<BlockHandle>(std::move(handle)));
    return true;
}

bool WindowsJournalFile::remove(zel::String& reason) {
    const bool isRemoved = m_folder.remove(m_name, m_file, reason);
    // Some file systems keep the name as long as the file is open.
    if (isRemoved && m_journal != nullptr)
        m_journal->close();
    return isRemoved;
}

/// All of it is written once: room that is only promised could be refused later, by a thin volume or a
/// compressed one, and the file system would note at many a write how far the file is filled.
bool reserveRoom(const zel::Handle& file, const GuardedFolder& folder, const std::string& name,
                 std::uint64_t bytes, zel::String& reason) {
    DWORD error = allocate(file.get(), bytes);
    if (error == ERROR_SUCCESS)
        error = fill(file.get(), bytes);
    if (meansNoRoom(error)) {
        reason = noRoom(folder.path(), bytes);
        return false;
    }
    return error == ERROR_SUCCESS ||
           failWith(reason,
                    zel::words("no room could be reserved for {path}", {{"path", folder.pathOf(name)}}),
                    error);
}

}  // namespace libDrive2
