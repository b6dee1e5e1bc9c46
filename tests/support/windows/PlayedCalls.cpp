#include "support/windows/PlayedCalls.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <cwctype>

#include "zel/windows/Utf16.h"

namespace testing_support {

namespace {

BOOL failWith(DWORD error) {
    SetLastError(error);
    return FALSE;
}

std::string hexadecimal(DWORD number) {
    char text[16];
    std::snprintf(text, sizeof text, "%08lX", number);
    return text;
}

std::uint64_t offsetOf(const OVERLAPPED& overlapped) {
    return std::uint64_t{overlapped.OffsetHigh} << 32 | overlapped.Offset;
}

}  // namespace

std::wstring PlayedCalls::folded(std::wstring path) {
    std::ranges::transform(path, path.begin(),
                           [](wchar_t unit) { return static_cast<wchar_t>(std::towupper(unit)); });
    return path;
}

bool PlayedCalls::step(const std::string& line) {
    log.push_back(line);
    if (++m_calls != failAt)
        return true;
    SetLastError(failure);
    return false;
}

unsigned PlayedCalls::logged(std::string_view beginning) const {
    const std::wstring wanted = folded(zel::toWide(beginning));
    return static_cast<unsigned>(std::ranges::count_if(
        log, [&](const std::string& line) { return folded(zel::toWide(line)).starts_with(wanted); }));
}

HANDLE PlayedCalls::give(Opened opened) {
    const auto handle = reinterpret_cast<HANDLE>(m_nextHandle);
    m_nextHandle += 4;
    m_handles.emplace(handle, std::move(opened));
    return handle;
}

PlayedCalls::Opened* PlayedCalls::opened(HANDLE handle) {
    const auto found = m_handles.find(handle);
    return found != m_handles.end() ? &found->second : nullptr;
}

PlayedDevice* PlayedCalls::deviceOf(const Opened& opened) {
    const auto found = m_devices.find(opened.path);
    if (found != m_devices.end())
        return &found->second;
    SetLastError(ERROR_DEVICE_NOT_CONNECTED);
    return nullptr;
}

HANDLE PlayedCalls::createFile(const std::wstring& path, DWORD access, DWORD share, DWORD disposition,
                               DWORD flags, SECURITY_ATTRIBUTES* security) {
    const std::lock_guard lock(m_mutex);
    const auto found = m_devices.find(folded(path));
    const bool isDevice = path.starts_with(L"\\\\.\\") || path.starts_with(L"\\\\?\\Volume");
    if (found == m_devices.end() && reachesRealFiles && !isDevice)
        return SystemCalls::createFile(path, access, share, disposition, flags, security);
    if (!step("open " + zel::fromWide(path)))
        return INVALID_HANDLE_VALUE;
    DWORD error = found == m_devices.end() ? DWORD{ERROR_FILE_NOT_FOUND} : found->second.openError;
    if (error == ERROR_SUCCESS && (access & found->second.refusedAccess) != 0)
        error = found->second.refusal;
    if (error == ERROR_SUCCESS)
        return give({found->first, zel::fromWide(path), access, share, flags});
    SetLastError(error);
    return INVALID_HANDLE_VALUE;
}

BOOL PlayedCalls::closeHandle(HANDLE handle) {
    const std::lock_guard lock(m_mutex);
    return m_handles.erase(handle) != 0 ? TRUE : SystemCalls::closeHandle(handle);
}

HANDLE PlayedCalls::reopenFile(HANDLE original, DWORD access, DWORD share, DWORD flags) {
    const std::lock_guard lock(m_mutex);
    const Opened* const before = opened(original);
    if (before == nullptr)
        return SystemCalls::reopenFile(original, access, share, flags);
    if (!step("reopen " + before->name) || deviceOf(*before) == nullptr)
        return INVALID_HANDLE_VALUE;
    return give({before->path, before->name, access, share, flags});
}

DWORD PlayedCalls::move(const Opened& opened, bool writing, std::uint64_t offset, std::uint8_t* data,
                        DWORD bytes, DWORD& done) {
    PlayedDevice* const device = deviceOf(opened);
    if (device == nullptr)
        return GetLastError();
    const DWORD sector = device->sectorBytes;
    const bool isAligned =
        offset % sector == 0 && bytes % sector == 0 && reinterpret_cast<std::uintptr_t>(data) % sector == 0;
    if ((opened.flags & FILE_FLAG_NO_BUFFERING) != 0 && !isAligned)
        return ERROR_INVALID_PARAMETER;
    if (writing && device->isReadOnly)
        return ERROR_WRITE_PROTECT;
    if ((opened.access & (writing ? GENERIC_WRITE : GENERIC_READ)) == 0)
        return ERROR_ACCESS_DENIED;
    const auto& bad = writing ? device->badWrites : device->badReads;
    if (const auto first = bad.lower_bound(offset / sector);
        first != bad.end() && first->first < (offset + bytes + sector - 1) / sector)
        return first->second;
    const std::uint64_t end = device->shortAfter.value_or(device->content.size());
    if (offset >= end)
        return device->isFile ? ERROR_HANDLE_EOF : ERROR_SECTOR_NOT_FOUND;
    done = static_cast<DWORD>(std::min<std::uint64_t>(bytes, end - offset));
    std::uint8_t* const place = device->content.data() + offset;
    std::memcpy(writing ? place : data, writing ? data : place, done);
    return ERROR_SUCCESS;
}

BOOL PlayedCalls::transfer(HANDLE file, bool writing, std::uint8_t* data, DWORD bytes, DWORD* done,
                           OVERLAPPED* overlapped) {
    const Opened& from = *opened(file);
    const std::uint64_t offset = overlapped != nullptr ? offsetOf(*overlapped) : 0;
    if (!step((writing ? "write " : "read ") + from.name + ' ' + std::to_string(offset) + '+' +
              std::to_string(bytes)))
        return FALSE;
    DWORD moved = 0;
    const DWORD error = move(from, writing, offset, data, bytes, moved);
    if (overlapped != nullptr && (from.flags & FILE_FLAG_OVERLAPPED) != 0) {
        m_pending[overlapped] = {error, moved};
        m_mostPending = std::max(m_mostPending, m_pending.size());
        return failWith(ERROR_IO_PENDING);
    }
    if (done != nullptr)
        *done = moved;
    return error == ERROR_SUCCESS ? TRUE : failWith(error);
}

BOOL PlayedCalls::readFile(HANDLE file, void* data, DWORD bytes, DWORD* done, OVERLAPPED* overlapped) {
    const std::lock_guard lock(m_mutex);
    if (opened(file) == nullptr)
        return SystemCalls::readFile(file, data, bytes, done, overlapped);
    return transfer(file, false, static_cast<std::uint8_t*>(data), bytes, done, overlapped);
}

BOOL PlayedCalls::writeFile(HANDLE file, const void* data, DWORD bytes, DWORD* done, OVERLAPPED* overlapped) {
    const std::lock_guard lock(m_mutex);
    if (opened(file) == nullptr)
        return SystemCalls::writeFile(file, data, bytes, done, overlapped);
    // One function moves both ways; a write only reads from the data.
    return transfer(file, true, static_cast<std::uint8_t*>(const_cast<void*>(data)), bytes, done, overlapped);
}

BOOL PlayedCalls::getOverlappedResult(HANDLE file, OVERLAPPED* overlapped, DWORD* done, BOOL wait) {
    const std::lock_guard lock(m_mutex);
    if (opened(file) == nullptr)
        return SystemCalls::getOverlappedResult(file, overlapped, done, wait);
    const auto found = m_pending.find(overlapped);
    if (found == m_pending.end())
        return failWith(ERROR_INVALID_PARAMETER);
    const Done result = found->second;
    m_pending.erase(found);
    *done = result.bytes;
    if (!step("result"))
        return FALSE;
    return result.error == ERROR_SUCCESS ? TRUE : failWith(result.error);
}

BOOL PlayedCalls::flushFileBuffers(HANDLE file) {
    const std::lock_guard lock(m_mutex);
    const Opened* const from = opened(file);
    if (from == nullptr)
        return SystemCalls::flushFileBuffers(file);
    if (!step("flush " + from->name))
        return FALSE;
    const PlayedDevice* const device = deviceOf(*from);
    if (device == nullptr)
        return FALSE;
    return device->flushError == ERROR_SUCCESS ? TRUE : failWith(device->flushError);
}

BOOL PlayedCalls::deviceIoControl(HANDLE handle, DWORD code, void* in, DWORD inBytes, void* out,
                                  DWORD outBytes, DWORD* returned) {
    const std::lock_guard lock(m_mutex);
    const Opened* const to = opened(handle);
    if (to == nullptr)
        return SystemCalls::deviceIoControl(handle, code, in, inBytes, out, outBytes, returned);
    if (!step("ioctl " + to->name + ' ' + hexadecimal(code)))
        return FALSE;
    const PlayedDevice* const device = deviceOf(*to);
    if (device == nullptr)
        return FALSE;
    const auto driver = device->drivers.find(code);
    if (driver == device->drivers.end())
        return failWith(ERROR_INVALID_FUNCTION);
    const std::span<std::uint8_t> room{static_cast<std::uint8_t*>(out), outBytes};
    const PlayedAnswer answer = driver->second({code, {static_cast<std::uint8_t*>(in), inBytes}, room});
    const std::size_t fitting = std::min(room.size(), answer.bytes.size());
    std::copy_n(answer.bytes.begin(), fitting, room.begin());
    if (returned != nullptr)
        *returned = static_cast<DWORD>(fitting);
    const DWORD error = answer.error == ERROR_SUCCESS && fitting < answer.bytes.size()
                            ? DWORD{ERROR_MORE_DATA}
                            : answer.error;
    return error == ERROR_SUCCESS ? TRUE : failWith(error);
}

BOOL PlayedCalls::getFileSize(HANDLE file, LARGE_INTEGER* bytes) {
    const std::lock_guard lock(m_mutex);
    const Opened* const of = opened(file);
    if (of == nullptr)
        return SystemCalls::getFileSize(file, bytes);
    if (!step("size " + of->name))
        return FALSE;
    const PlayedDevice* const device = deviceOf(*of);
    if (device == nullptr)
        return FALSE;
    if (!device->isFile)
        return failWith(ERROR_INVALID_FUNCTION);
    bytes->QuadPart = static_cast<LONGLONG>(device->content.size());
    return TRUE;
}

DWORD PlayedCalls::getFileType(HANDLE file) {
    const std::lock_guard lock(m_mutex);
    return opened(file) != nullptr ? FILE_TYPE_DISK : SystemCalls::getFileType(file);
}

BOOL PlayedCalls::getFileInformation(HANDLE file, BY_HANDLE_FILE_INFORMATION* information) {
    const std::lock_guard lock(m_mutex);
    const Opened* const of = opened(file);
    if (of == nullptr)
        return SystemCalls::getFileInformation(file, information);
    if (!step("information " + of->name))
        return FALSE;
    const PlayedDevice* const device = deviceOf(*of);
    if (device == nullptr)
        return FALSE;
    if (!device->information)
        return failWith(ERROR_INVALID_FUNCTION);
    *information = *device->information;
    return TRUE;
}

BOOL PlayedCalls::getFileInformationEx(HANDLE file, FILE_INFO_BY_HANDLE_CLASS kind, void* out, DWORD bytes) {
    const std::lock_guard lock(m_mutex);
    return opened(file) != nullptr ? failWith(ERROR_INVALID_FUNCTION)
                                   : SystemCalls::getFileInformationEx(file, kind, out, bytes);
}

BOOL PlayedCalls::setFileInformation(HANDLE file, FILE_INFO_BY_HANDLE_CLASS kind, void* in, DWORD bytes) {
    const std::lock_guard lock(m_mutex);
    return opened(file) != nullptr ? failWith(ERROR_INVALID_FUNCTION)
                                   : SystemCalls::setFileInformation(file, kind, in, bytes);
}

BOOL PlayedCalls::lockFile(HANDLE file, DWORD flags, DWORD low, DWORD high, OVERLAPPED* overlapped) {
    const std::lock_guard lock(m_mutex);
    const Opened* const of = opened(file);
    if (of == nullptr)
        return SystemCalls::lockFile(file, flags, low, high, overlapped);
    return step("lock " + of->name) ? TRUE : FALSE;
}

BOOL PlayedCalls::unlockFile(HANDLE file, DWORD low, DWORD high, OVERLAPPED* overlapped) {
    const std::lock_guard lock(m_mutex);
    const Opened* const of = opened(file);
    if (of == nullptr)
        return SystemCalls::unlockFile(file, low, high, overlapped);
    return step("unlock " + of->name) ? TRUE : FALSE;
}

}  // namespace testing_support
