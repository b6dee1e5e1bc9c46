#include "libDrive2/windows/JournalHandle.h"

#include <algorithm>
#include <cstdint>

#include "libDrive2/windows/FilePlace.h"
#include "libDrive2/windows/SystemError.h"
#include "zel/Format.h"

namespace libDrive2 {

namespace {

using zel::SystemCalls;

constexpr std::uint32_t kSectorBytes = 512;
/// Fits the sectors of all usual disks.
constexpr std::uintptr_t kAlignment = 4096;
constexpr std::size_t kMostAtATime = std::size_t{8} << 20;

bool isAligned(std::uint64_t offset, const void* buffer, std::size_t bytes) {
    return offset % kAlignment == 0 && bytes % kAlignment == 0 &&
           reinterpret_cast<std::uintptr_t>(buffer) % kAlignment == 0;
}

}  // namespace

std::unique_ptr<JournalHandle> JournalHandle::open(HANDLE file, bool writable) {
    SystemCalls& calls = SystemCalls::current();
    const DWORD access = GENERIC_READ | (writable ? GENERIC_WRITE : 0U);
    zel::Handle plain(calls.reopenFile(file, access, zel::kShareAll, FILE_FLAG_WRITE_THROUGH));
    if (!plain)
        return nullptr;
    zel::Handle direct(
        calls.reopenFile(file, access, zel::kShareAll, FILE_FLAG_WRITE_THROUGH | FILE_FLAG_NO_BUFFERING));
    std::unique_ptr<JournalHandle> handle(new JournalHandle(std::move(plain), std::move(direct)));
    handle->m_info.logicalSectorBytes = kSectorBytes;
    handle->m_info.physicalSectorBytes = kAlignment;
    handle->m_info.writable = writable;
    return handle->query().ok() ? std::move(handle) : nullptr;
}

DeviceStatus JournalHandle::query() {
    LARGE_INTEGER bytes{};
    if (SystemCalls::current().getFileSize(m_plain.get(), &bytes) == FALSE)
        return lastSystemStatus();
    m_info.bytes = static_cast<std::uint64_t>(bytes.QuadPart);
    return {};
}

/// `once` transfers a piece by a handle: offset within the whole, bytes, how many were done, place.
template <class Transfer>
DeviceStatus JournalHandle::transfer(std::uint64_t offset, std::size_t bytes, bool isAligned, Transfer once) {
    if (offset > m_info.bytes || bytes > m_info.bytes - offset)
        return {LIBDRIVE2_BAD_ARGUMENT, zel::format("the file ends at byte %u", m_info.bytes)};
    const bool isDirect = isAligned && m_direct;
    for (std::size_t done = 0; done < bytes;) {
        OVERLAPPED place = placeAt(offset + done);
        DWORD moved = 0;
        const auto piece = static_cast<DWORD>(std::min(bytes - done, kMostAtATime));
        const HANDLE file = isDirect ? m_direct.get() : m_plain.get();
        const bool isDone = once(file, done, piece, &moved, &place) != FALSE;
        // Sectors may be larger than the alignment.
        if (!isDone && isDirect && GetLastError() == ERROR_INVALID_PARAMETER) {
            m_direct.reset();
            return transfer(offset, bytes, false, once);
        }
        if (!isDone)
            return lastSystemStatus();
        if (moved == 0)
            return {LIBDRIVE2_NO_ACCESS, zel::format("only %u of %u bytes were transferred", done, bytes)};
        done += moved;
    }
    return {};
}

DeviceStatus JournalHandle::read(std::uint64_t offset, void* buffer, std::size_t bytes) {
    auto* const to = static_cast<std::uint8_t*>(buffer);
    return transfer(offset, bytes, isAligned(offset, buffer, bytes),
                    [to](HANDLE file, std::size_t begin, DWORD piece, DWORD* moved, OVERLAPPED* place) {
                        return SystemCalls::current().readFile(file, to + begin, piece, moved, place);
                    });
}

DeviceStatus JournalHandle::write(std::uint64_t offset, const void* buffer, std::size_t bytes) {
    if (!m_info.writable)
        return {LIBDRIVE2_WRITE_PROTECTED_DEVICE, "the journal was opened for reading only"};
    const auto* const from = static_cast<const std::uint8_t*>(buffer);
    return transfer(offset, bytes, isAligned(offset, buffer, bytes),
                    [from](HANDLE file, std::size_t begin, DWORD piece, DWORD* moved, OVERLAPPED* place) {
                        return SystemCalls::current().writeFile(file, from + begin, piece, moved, place);
                    });
}

DeviceStatus JournalHandle::flush() {
    return SystemCalls::current().flushFileBuffers(m_plain.get()) != FALSE ? DeviceStatus{}
                                                                           : lastSystemStatus();
}

void JournalHandle::close() {
    m_direct.reset();
    m_plain.reset();
    m_info.bytes = 0;
}

}  // namespace libDrive2
