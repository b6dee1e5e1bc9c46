#include "libDrive2/windows/WindowsBlockHandle.h"

#include <algorithm>
#include <cstring>

#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/DeviceProvider.h"
#include "libDrive2/OpenLeases.h"
#include "libDrive2/windows/BlockMeasure.h"
#include "libDrive2/windows/DevicePath.h"
#include "libDrive2/windows/SystemError.h"
#include "libDrive2/windows/answers/DiskAnswers.h"
#include "zel/Buffer.h"
#include "zel/Words.h"
#include "zel/windows/DeviceQuery.h"
#include "zel/windows/Utf16.h"

namespace libDrive2 {

using zel::worded;

namespace {

// The openers' bits are those of CreateFile.
static_assert(kAccessRead == GENERIC_READ && kAccessWrite == GENERIC_WRITE);
static_assert(kShareRead == FILE_SHARE_READ && kShareWrite == FILE_SHARE_WRITE);
static_assert(kOpenExisting == OPEN_EXISTING);

constexpr std::uint32_t kFileSectorBytes = 512;
constexpr std::uint32_t kOptimalTransferBytes = 8U << 20;
constexpr std::size_t kBounceBytes = std::size_t{1} << 20;
constexpr std::size_t kMemoryAlignment = 4096;
constexpr std::uint32_t kLargestFileAlignment = 4096;
constexpr std::uint32_t kTemperatureProperty = 52;
constexpr DWORD kDirect = FILE_FLAG_NO_BUFFERING | FILE_FLAG_OVERLAPPED;

zel::Wording unopened(const zel::String& path, const DeviceStatus& why) {
    return worded("{path} cannot be opened: {reason}", {{"path", path}, {"reason", why.text}});
}

/// Why a path is no drive; empty when it may be one.
zel::Wording checkKind(const zel::String& path, const zel::String& called) {
    if (namesDevice(path))
        return {};
    const DWORD attributes = zel::SystemCalls::current().getFileAttributes(zel::longPath(path.utf8()));
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return unopened(called, lastSystemStatus());
    return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0
               ? worded("{path} is a folder, not a drive or an image file", {{"path", called}})
               : zel::Wording();
}

/// The alignment that direct transfers of a file need, which is the sector size of what it is stored on.
std::uint32_t directFileAlignment(HANDLE file) {
    FILE_STORAGE_INFO storage{};
    if (zel::SystemCalls::current().getFileInformationEx(file, FileStorageInfo, &storage, sizeof storage) ==
            FALSE ||
        storage.LogicalBytesPerSector == 0)
        return kLargestFileAlignment;
    return static_cast<std::uint32_t>(storage.LogicalBytesPerSector);
}

bool isAligned(std::uint64_t value, std::uint64_t alignment) {
    return value % alignment == 0;
}

}  // namespace

WindowsBlockHandle::WindowsBlockHandle(const zel::String& path, DWORD access, DWORD share)
    : m_path(path),
      m_access(access),
      m_share(share),
      m_isDevice(namesDevice(OpenLeases::pathOf(path))),
      m_queue(OverlappedQueue::create()) {}

std::unique_ptr<WindowsBlockHandle> WindowsBlockHandle::open(const zel::String& path,
                                                             std::uint32_t desiredAccess,
                                                             std::uint32_t shareMode,
                                                             const zel::String& name) {
    const zel::String& called = name.isEmpty() ? path : name;
    if (const zel::Wording problem = checkKind(OpenLeases::pathOf(path), called); !problem.isEmpty()) {
        noteOpenError(problem);
        return nullptr;
    }
    std::unique_ptr<WindowsBlockHandle> handle(new WindowsBlockHandle(path, desiredAccess, shareMode));
    const DeviceStatus status = handle->m_queue != nullptr ? handle->reopen() : lastSystemStatus();
    if (!status.ok()) {
        noteOpenError(unopened(called, status));
        return nullptr;
    }
    return handle;
}

DeviceStatus WindowsBlockHandle::openHandles() {
    // Closed first: an exclusive open would otherwise collide with our own.
    m_direct.reset();
    m_plain.reset();
    m_isEmpty = false;
    return m_isDevice ? openDevice() : openFile();
}

DeviceStatus WindowsBlockHandle::openDevice() {
    m_direct = openPath(m_path, m_access, m_share, kDirect);
    if (m_direct) {
        // Else a file system that is mounted there hides the sectors behind its own end.
        (void)zel::tellDevice(m_direct.get(), FSCTL_ALLOW_EXTENDED_DASD_IO);
        return {};
    }
    const DWORD error = GetLastError();
    if (!meansNoMedium(error))
        return systemStatus(error);
    m_plain = openPath(m_path, FILE_READ_ATTRIBUTES, zel::kShareContents, 0);
    // A drive whose medium cannot be taken out is not empty but broken, or asleep.
    m_isEmpty = m_plain && BlockMeasure(m_plain.get()).isRemovable(true);
    if (m_isEmpty)
        return {};
    m_plain.reset();
    return systemStatus(error);
}

/// A file is shared with all who read it beside; who may write to it is its lease's business.
DeviceStatus WindowsBlockHandle::openFile() {
    m_plain = openPath(m_path, m_access, zel::kShareContents, FILE_FLAG_OVERLAPPED | FILE_FLAG_WRITE_THROUGH);
    if (!m_plain)
        return lastSystemStatus();
    m_direct = openPath(m_path, m_access, zel::kShareContents, kDirect);
    return {};
}

DeviceStatus WindowsBlockHandle::reopen() {
    if (DeviceStatus status = openHandles(); !status.ok())
        return status;
    return query();
}

DeviceStatus WindowsBlockHandle::query() {
    m_info.optimalTransferBytes = kOptimalTransferBytes;
    if (!isOpen())
        return notReopened();
    if (!m_isDevice)
        return queryFile();
    const BlockMeasure device(handle());
    if (DeviceStatus status = device.measure(m_info, [this](std::uint64_t offset) { return exists(offset); });
        !status.ok() && !m_isEmpty)
        return status;
    if (m_isEmpty) {
        m_info.removable = true;
        m_info.mediumPresent = false;
        m_info.bytes = 0;
    }
    m_directAlignment = m_info.logicalSectorBytes;
    m_isWriteProtected = (m_access & GENERIC_WRITE) != 0 && m_info.mediumPresent && device.isWriteProtected();
    m_info.writable = (m_access & GENERIC_WRITE) != 0 && !m_isWriteProtected;
    return {};
}

DeviceStatus WindowsBlockHandle::queryFile() {
    LARGE_INTEGER bytes{};
    if (zel::SystemCalls::current().getFileSize(m_plain.get(), &bytes) == FALSE)
        return lastSystemStatus();
    m_info.bytes = static_cast<std::uint64_t>(bytes.QuadPart);
    m_info.logicalSectorBytes = kFileSectorBytes;
    m_info.physicalSectorBytes = kFileSectorBytes;
    m_info.writable = (m_access & GENERIC_WRITE) != 0;
    m_directAlignment = directFileAlignment(m_plain.get());
    return {};
}

bool WindowsBlockHandle::exists(std::uint64_t offset) {
    if (!m_direct)
        return false;
    zel::Buffer sector(m_info.logicalSectorBytes);
    const TransferOutcome outcome =
        m_queue->run({m_direct.get(), false, offset, sector.data(), sector.size()});
    // A sector that cannot be read is there all the same.
    return outcome.ok() || (outcome.error != ERROR_SUCCESS && outcome.error != ERROR_HANDLE_EOF);
}

/// A file that became smaller would silently grow again under a write.
bool WindowsBlockHandle::endsBefore(std::uint64_t offset) const {
    LARGE_INTEGER bytes{};
    return !m_isDevice && (zel::SystemCalls::current().getFileSize(m_plain.get(), &bytes) == FALSE ||
                           static_cast<std::uint64_t>(bytes.QuadPart) < offset);
}

DeviceStatus WindowsBlockHandle::failure(const TransferOutcome& outcome) const {
    if (m_isEmpty)
        return {LIBDRIVE2_NO_ACCESS, worded("there is no medium in the drive")};
    if (outcome.error == ERROR_HANDLE_EOF || (outcome.error == ERROR_SUCCESS && !m_isDevice))
        return {LIBDRIVE2_NO_ACCESS, worded("it ends before these sectors: it became smaller")};
    if (outcome.error == ERROR_SUCCESS)
        return partlyTransferred(outcome.moved, outcome.asked);
    DeviceStatus status = systemStatus(outcome.error);
    const bool isFault = status.type == LIBDRIVE2_MEDIA_ERROR || status.type == LIBDRIVE2_DRIVE_ERROR ||
                         status.type == LIBDRIVE2_LINK_ERROR;
    // What was under way when a drive was pulled ends like a fault of the drive: those are no bad sectors.
    if (isFault && m_isDevice && BlockMeasure(handle()).isGone())
        return {LIBDRIVE2_NO_ACCESS, worded("the device is gone ({reason})", {{"reason", status.text}})};
    if (isFault && m_info.removable && !BlockMeasure(handle()).hasMedium())
        return {LIBDRIVE2_NO_ACCESS,
                worded("the medium was taken out ({reason})", {{"reason", status.text}})};
    return status;
}

DeviceStatus WindowsBlockHandle::transfer(bool writing, std::uint64_t offset, std::uint8_t* buffer,
                                          std::size_t bytes) {
    if (!isOpen())
        return notReopened();
    if (m_isEmpty)
        return failure({});
    const bool isDirect =
        m_direct &&
        (m_isDevice || (isAligned(offset, m_directAlignment) && isAligned(bytes, m_directAlignment)));
    const OverlappedTransfer wanted{isDirect ? m_direct.get() : m_plain.get(), writing, offset, buffer,
                                    bytes};
    const bool needsBounce =
        isDirect && !isAligned(reinterpret_cast<std::uintptr_t>(buffer), kMemoryAlignment);
    const TransferOutcome outcome = needsBounce ? transferBounced(wanted) : m_queue->run(wanted);
    if (outcome.ok())
        return {};
    // A file that is long enough takes all that is written to it, or there is no room for its holes.
    const bool isFull = writing && !m_isDevice && outcome.error == ERROR_SUCCESS;
    return isFull ? systemStatus(ERROR_DISK_FULL) : failure(outcome);
}

TransferOutcome WindowsBlockHandle::transferBounced(const OverlappedTransfer& transfer) {
    zel::Buffer bounce(std::min(transfer.bytes, kBounceBytes));
    for (std::size_t done = 0; done < transfer.bytes;) {
        const std::size_t piece = std::min(bounce.size(), transfer.bytes - done);
        if (transfer.writing)
            std::memcpy(bounce.data(), transfer.buffer + done, piece);
        const TransferOutcome outcome =
            m_queue->run({transfer.file, transfer.writing, transfer.offset + done, bounce.data(), piece});
        if (!outcome.ok())
            return outcome;
        if (!transfer.writing)
            std::memcpy(transfer.buffer + done, bounce.data(), piece);
        done += piece;
    }
    return {};
}

DeviceStatus WindowsBlockHandle::read(std::uint64_t offset, void* buffer, std::size_t bytes) {
    return transfer(false, offset, static_cast<std::uint8_t*>(buffer), bytes);
}

DeviceStatus WindowsBlockHandle::write(std::uint64_t offset, const void* buffer, std::size_t bytes) {
    if (m_isWriteProtected)
        return {LIBDRIVE2_WRITE_PROTECTED_MEDIUM, systemStatus(ERROR_WRITE_PROTECT).text};
    if (!m_info.writable)
        return {LIBDRIVE2_WRITE_PROTECTED_DEVICE, worded("the device was opened for reading only")};
    if (endsBefore(offset + bytes))
        return failure({ERROR_HANDLE_EOF});
    // The transfer takes a pointer to changeable memory for both directions; a write only reads it.
    return transfer(true, offset, static_cast<std::uint8_t*>(const_cast<void*>(buffer)), bytes);
}

/// The system flushes nothing through a handle that cannot write, which has left nothing to flush either.
DeviceStatus WindowsBlockHandle::flush() {
    if (!m_info.writable || m_isEmpty)
        return {};
    if (zel::SystemCalls::current().flushFileBuffers(handle()) == FALSE)
        return failure({std::max(GetLastError(), DWORD{1})});
    return {};
}

DeviceStatus WindowsBlockHandle::control(DWORD code, Bytes input) const {
    return zel::tellDevice(handle(), code, input) ? DeviceStatus{} : lastSystemStatus();
}

DeviceStatus WindowsBlockHandle::eject() {
    return m_isDevice ? control(IOCTL_STORAGE_EJECT_MEDIA) : BlockHandle::eject();
}

DeviceStatus WindowsBlockHandle::load() {
    return m_isDevice ? control(IOCTL_STORAGE_LOAD_MEDIA) : BlockHandle::load();
}

/// PREVENT_MEDIA_REMOVAL is one BOOLEAN.
DeviceStatus WindowsBlockHandle::lockMedium(bool lock) {
    const std::uint8_t prevention[] = {static_cast<std::uint8_t>(lock ? 1 : 0)};
    return m_isDevice ? control(IOCTL_STORAGE_MEDIA_REMOVAL, prevention) : BlockHandle::lockMedium(lock);
}

std::optional<double> WindowsBlockHandle::temperature() {
    return m_isDevice ? windows::parseTemperature(zel::askProperty(handle(), kTemperatureProperty))
                      : std::nullopt;
}

}  // namespace libDrive2
