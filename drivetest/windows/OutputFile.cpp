#include "drivetest/run/OutputFile.h"

#include <fcntl.h>
#include <io.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <chrono>
#include <system_error>
#include <thread>
#include <utility>

#include "drivetest/windows/StandardHandle.h"
#include "zel/windows/FileHandle.h"
#include "zel/windows/Handle.h"
#include "zel/windows/Utf16.h"

namespace drivetest {

namespace {

/// How soon a pipe that keeps nobody waiting is tried again.
constexpr std::chrono::milliseconds kPipeInterval{20};
/// Consoles take no longer texts at once.
constexpr std::size_t kMostUnits = 8192;
constexpr std::size_t kMostBytes = std::size_t{1} << 20;

/// For those who ask errno why a write failed.
void tellErrno() {
    const std::error_code failure(static_cast<int>(GetLastError()), std::system_category());
    const std::error_condition reason = failure.default_error_condition();
    errno = reason.category() == std::generic_category() ? reason.value() : EIO;
}

bool isSameObject(HANDLE a, HANDLE b) {
    using Compare = BOOL(WINAPI*)(HANDLE, HANDLE);
    static const auto compare =
        std::bit_cast<Compare>(GetProcAddress(GetModuleHandleW(L"kernelbase.dll"), "CompareObjectHandles"));
    return a == b || (compare != nullptr && compare(a, b) != FALSE);
}

/// Consoles take UTF-16, whatever their code page.
bool writeToConsole(HANDLE console, std::string_view text) {
    const std::wstring wide = zel::toWide(text);
    for (std::size_t begin = 0; begin < wide.size();) {
        auto units = static_cast<DWORD>(std::min(kMostUnits, wide.size() - begin));
        if (units == kMostUnits && IS_HIGH_SURROGATE(wide[begin + units - 1]))
            --units;
        DWORD written = 0;
        if (WriteConsoleW(console, &wide[begin], units, &written, nullptr) == FALSE || written == 0) {
            tellErrno();
            return false;
        }
        begin += written;
    }
    return true;
}

bool writeToFile(HANDLE file, std::string_view text) {
    while (!text.empty()) {
        const auto bytes = static_cast<DWORD>(std::min(kMostBytes, text.size()));
        DWORD written = 0;
        if (zel::SystemCalls::current().writeFile(file, text.data(), bytes, &written, nullptr) == FALSE) {
            tellErrno();
            return false;
        }
        text.remove_prefix(written);
        // Whoever gave the pipe does not want to be kept waiting by it.
        if (written == 0)
            std::this_thread::sleep_for(kPipeInterval);
    }
    return true;
}

/// Those that write to a file hold a byte far behind all that it has, which keeps nobody from reading. False
/// when another process holds it; file systems without locks let everybody.
bool holdAlone(HANDLE file) {
    return LockFile(file, MAXDWORD, MAXLONG - 1, 1, 0) != FALSE || GetLastError() != ERROR_LOCK_VIOLATION;
}

}  // namespace

OutputFile::~OutputFile() {
    removeCreated();
    if (m_owned)
        _close(m_descriptor);
}

void OutputFile::removeCreated() const {
    if (m_created.empty() || m_descriptor < 0)
        return;
    // The name may lead to another file by now; what is deleted is what it was found to lead to.
    const zel::Handle named(
        zel::SystemCalls::current().createFile(zel::longPath(m_created), DELETE | FILE_READ_ATTRIBUTES,
                                               zel::kShareAll, OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT));
    FILE_DISPOSITION_INFO gone{TRUE};
    if (named && zel::isSameFile(named.get(), handleOf(m_descriptor)))
        zel::SystemCalls::current().setFileInformation(named.get(), FileDispositionInfo, &gone, sizeof gone);
}

bool OutputFile::begin() {
    m_created.clear();
    const auto file = m_owned ? fileBehind(handleOf(m_descriptor)) : std::nullopt;
    m_isAlone = file && holdAlone(handleOf(m_descriptor));
    if (!file || file->EndOfFile.QuadPart == 0)
        return true;
    FILE_END_OF_FILE_INFO end{};
    if (zel::SystemCalls::current().setFileInformation(handleOf(m_descriptor), FileEndOfFileInfo, &end,
                                                       sizeof end) != FALSE)
        return true;
    tellErrno();
    return false;
}

bool OutputFile::goOnAt(std::uint64_t bytes) {
    m_created.clear();
    m_isAlone = m_isAlone || holdAlone(handleOf(m_descriptor));
    if (!m_isAlone)
        return false;
    FILE_END_OF_FILE_INFO end{};
    end.EndOfFile.QuadPart = static_cast<LONGLONG>(bytes);
    if (zel::SystemCalls::current().setFileInformation(handleOf(m_descriptor), FileEndOfFileInfo, &end,
                                                       sizeof end) != FALSE &&
        _lseeki64(m_descriptor, end.EndOfFile.QuadPart, SEEK_SET) == end.EndOfFile.QuadPart)
        return true;
    tellErrno();
    return false;
}

bool OutputFile::write(std::string_view text) const {
    return isConsole(m_descriptor) ? writeToConsole(handleOf(m_descriptor), text)
                                   : writeToFile(handleOf(m_descriptor), text);
}

/// The system keeps names by itself.
bool OutputFile::sync() {
    // The name is flushed with the file.
    m_isNameDurable =
        fileTypeOf(m_descriptor) != FILE_TYPE_DISK || FlushFileBuffers(handleOf(m_descriptor)) != FALSE;
    if (!m_isNameDurable)
        tellErrno();
    return m_isNameDurable;
}

bool isBeingWritten(const std::string& path) {
    // Nobody else may write while it is open like this.
    const zel::Handle alone(zel::SystemCalls::current().createFile(
        zel::longPath(path), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, OPEN_EXISTING, 0));
    return !alone && GetLastError() == ERROR_SHARING_VIOLATION;
}

bool isSameOutput(const OutputFile& a, const OutputFile& b) {
    const HANDLE first = handleOf(a.descriptor());
    const HANDLE second = handleOf(b.descriptor());
    if (first == INVALID_HANDLE_VALUE || second == INVALID_HANDLE_VALUE)
        return false;
    if (isConsole(a.descriptor()) || isConsole(b.descriptor()))  // a process has but one
        return isConsole(a.descriptor()) && isConsole(b.descriptor());
    const DWORD type = fileTypeOf(a.descriptor());
    if (type != fileTypeOf(b.descriptor()) || type == FILE_TYPE_CHAR)
        return false;
    return isSameObject(first, second) || (type == FILE_TYPE_DISK && zel::isSameFile(first, second));
}

}  // namespace drivetest
