#include "libDrive2/linux/LinuxBlockHandle.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/DeviceProvider.h"
#include "libDrive2/OpenLeases.h"
#include "libDrive2/linux/ErrnoError.h"
#include "libDrive2/linux/SysfsBlock.h"
#include "zel/Buffer.h"
#include "zel/Uninterrupted.h"
#include "zel/Words.h"

namespace libDrive2 {

using zel::worded;

namespace {

constexpr std::uint32_t kFileSectorBytes = 512;
/// A drive on a cable is busy with it for milliseconds; its chunk with a bad sector is not searched for long.
constexpr std::uint32_t kOptimalTransferBytes = 2U << 20;
/// Of NVMe drives, which are done with that before the next transfer comes.
constexpr std::uint32_t kFastTransferBytes = 8U << 20;
constexpr std::size_t kBounceBytes = std::size_t{1} << 20;
constexpr std::size_t kMemoryAlignment = 4096;

zel::Wording unopened(const zel::String& path, const DeviceStatus& why) {
    return worded("{path} cannot be opened: {reason}", {{"path", path}, {"reason", why.text}});
}

/// Why a path is no drive; empty when it may be one.
zel::Wording checkKind(const zel::String& path, const struct stat& found) {
    if (S_ISDIR(found.st_mode))
        return worded("{path} is a directory, not a drive or an image file", {{"path", path}});
    if (!S_ISBLK(found.st_mode) && !S_ISREG(found.st_mode))
        return worded("{path} is neither a block device nor an image file", {{"path", path}});
    return {};
}

/// The alignment that direct transfers of a file need; the page size where the kernel does not tell.
std::uint32_t directFileAlignment(int fd) {
#ifdef STATX_DIOALIGN
    struct statx attributes {};
    if (statx(fd, "", AT_EMPTY_PATH, STATX_DIOALIGN, &attributes) == 0 &&
        (attributes.stx_mask & STATX_DIOALIGN) != 0 && attributes.stx_dio_offset_align != 0)
        return attributes.stx_dio_offset_align;
#endif
    return 4096;
}

}  // namespace

std::unique_ptr<LinuxBlockHandle> LinuxBlockHandle::open(const zel::String& path, std::uint32_t desiredAccess,
                                                         std::uint32_t shareMode, const zel::String& name) {
    const zel::String& called = name.isEmpty() ? path : name;
    struct stat found {};
    if (::stat(OpenLeases::pathOf(path).utf8().c_str(), &found) != 0) {
        noteOpenError(unopened(called, errnoStatus(errno)));
        return nullptr;
    }
    if (const zel::Wording problem = checkKind(called, found); !problem.isEmpty()) {
        noteOpenError(problem);
        return nullptr;
    }
    const bool exclusive = shareMode == 0 && S_ISBLK(found.st_mode);
    const int flags =
        O_CLOEXEC | ((desiredAccess & kAccessWrite) != 0 ? O_RDWR : O_RDONLY) | (exclusive ? O_EXCL : 0);
    std::unique_ptr<LinuxBlockHandle> handle(new LinuxBlockHandle(path.utf8(), flags));
    if (const DeviceStatus status = handle->reopen(); !status.ok()) {
        noteOpenError(unopened(called, status));
        return nullptr;
    }
    handle->m_ring = IoRing::create();
    return handle;
}

MediumProbe LinuxBlockHandle::mediumProbe() const {
    const std::string path = OpenLeases::pathOf(m_path).utf8();
    struct stat found {};
    if (::stat(path.c_str(), &found) != 0)
        found = {};
    return {path, found};
}

/// A handle to wait with: it transfers nothing.
DeviceStatus LinuxBlockHandle::openEmpty() {
    const std::string path = OpenLeases::pathOf(m_path).utf8();
    m_buffered =
        FileDescriptor(zel::uninterrupted([&] { return ::open(path.c_str(), m_openFlags | O_NONBLOCK); }));
    m_isEmpty = static_cast<bool>(m_buffered);
    return m_isEmpty ? DeviceStatus{} : errnoStatus(errno);
}

DeviceStatus LinuxBlockHandle::openDescriptors() {
    const MediumProbe probe = mediumProbe();
    const bool hasMedium = probe.hasMedium();
    if (m_isEmpty && !hasMedium)
        return {};
    m_isEmpty = false;
    // Closed first: an exclusive open would otherwise collide with our own.
    m_direct.reset();
    m_buffered.reset();
    const std::string path = OpenLeases::pathOf(m_path).utf8();
    const auto opened = [&path](int flags) {
        return FileDescriptor(zel::uninterrupted([&] { return ::open(path.c_str(), flags); }));
    };
    if (!hasMedium)
        return openEmpty();
    m_buffered = opened(m_openFlags);
    if (!m_buffered)
        return probe.meansNoMedium(errno) ? openEmpty() : errnoStatus(errno);
    // Without O_EXCL, which the descriptor above already holds for both.
    m_direct = opened((m_openFlags & ~O_EXCL) | O_DIRECT);
    return {};
}

DeviceStatus LinuxBlockHandle::reopen() {
    if (DeviceStatus status = openDescriptors(); !status.ok())
        return status;
    return query();
}

DeviceStatus LinuxBlockHandle::query() {
    struct stat found {};
    if (fstat(m_buffered.get(), &found) != 0)
        return errnoStatus(errno);
    m_isBlockDevice = S_ISBLK(found.st_mode);
    m_info.writable = (m_openFlags & O_ACCMODE) == O_RDWR;
    m_info.optimalTransferBytes = kOptimalTransferBytes;
    return m_isBlockDevice ? queryBlockDevice() : queryFile();
}

DeviceStatus LinuxBlockHandle::queryBlockDevice() {
    const MediumProbe probe = mediumProbe();
    m_info.removable = probe.isRemovable();
    // First: it makes the kernel measure what has come since.
    const bool hasMedium = !m_isEmpty && probe.hasMedium();
    std::uint64_t bytes = 0;
    int logical = 0;
    unsigned physical = 0;
    if (ioctl(m_buffered.get(), BLKGETSIZE64, &bytes) != 0 ||
        ioctl(m_buffered.get(), BLKSSZGET, &logical) != 0 ||
        ioctl(m_buffered.get(), BLKPBSZGET, &physical) != 0)
        return errnoStatus(errno);
    m_info.logicalSectorBytes = static_cast<std::uint32_t>(logical);
    m_info.physicalSectorBytes = physical;
    if (struct stat found{};
        fstat(m_buffered.get(), &found) == 0 && SysfsBlock(found.st_rdev).disk().name().starts_with("nvme"))
        m_info.optimalTransferBytes = kFastTransferBytes;
    m_info.mediumPresent = !m_info.removable || (hasMedium && bytes > 0);
    // The kernel's driver of optical drives makes up a size while it has seen no medium.
    m_info.bytes = m_info.mediumPresent ? bytes : 0;
    m_directAlignment = m_info.logicalSectorBytes;
    return {};
}

DeviceStatus LinuxBlockHandle::queryFile() {
    struct stat found {};
    if (fstat(m_buffered.get(), &found) != 0)
        return errnoStatus(errno);
    m_info.bytes = static_cast<std::uint64_t>(found.st_size);
    m_info.logicalSectorBytes = kFileSectorBytes;
    m_info.physicalSectorBytes = kFileSectorBytes;
    m_directAlignment = directFileAlignment(m_buffered.get());
    return {};
}

/// A file that became smaller would silently grow again under a write.
bool LinuxBlockHandle::endsBefore(std::uint64_t offset) const {
    struct stat found {};
    return !m_isBlockDevice &&
           (fstat(m_buffered.get(), &found) != 0 || static_cast<std::uint64_t>(found.st_size) < offset);
}

bool LinuxBlockHandle::isGone() const {
    if (!m_isBlockDevice)
        return false;
    std::uint64_t bytes = 0;
    struct stat found {};
    if (ioctl(m_buffered.get(), BLKGETSIZE64, &bytes) != 0 || fstat(m_buffered.get(), &found) != 0)
        return true;
    return !SysfsBlock(found.st_rdev).isUsable() || (bytes == 0 && !m_info.removable);
}

DeviceStatus LinuxBlockHandle::failure(int error) const {
    if (m_isEmpty)
        return {LIBDRIVE2_NO_ACCESS, worded("there is no medium in the drive")};
    if (error == IoRing::kEndOfDevice)
        return {LIBDRIVE2_NO_ACCESS, worded("it ends before these sectors: it became smaller")};
    DeviceStatus status = errnoStatus(error);
    // The kernel answers plain I/O errors for a drive that was pulled: those are no bad sectors.
    if (status.type == LIBDRIVE2_MEDIA_ERROR && isGone())
        return {LIBDRIVE2_NO_ACCESS, worded("the device is gone ({reason})", {{"reason", status.text}})};
    if (status.type == LIBDRIVE2_MEDIA_ERROR && m_info.removable && !mediumProbe().hasMedium())
        return {LIBDRIVE2_NO_ACCESS,
                worded("the medium was taken out ({reason})", {{"reason", status.text}})};
    return status;
}

DeviceStatus LinuxBlockHandle::transfer(bool writing, std::uint64_t offset, std::uint8_t* buffer,
                                        std::size_t bytes) {
    const auto isAligned = [](std::uint64_t value, std::uint64_t alignment) {
        return value % alignment == 0;
    };
    int error = 0;
    if (!m_direct || !isAligned(offset, m_directAlignment) || !isAligned(bytes, m_directAlignment))
        error = transferPlain(m_buffered.get(), writing, offset, buffer, bytes);
    else if (!isAligned(reinterpret_cast<std::uintptr_t>(buffer), kMemoryAlignment))
        error = transferBounced(writing, offset, buffer, bytes);
    else if (m_ring != nullptr && bytes > IoRing::kPieceBytes)
        error = transferInPieces(writing, offset, buffer, bytes);
    else
        error = transferPlain(m_direct.get(), writing, offset, buffer, bytes);
    return error == 0 ? DeviceStatus{} : failure(error);
}

int LinuxBlockHandle::transferInPieces(bool writing, std::uint64_t offset, std::uint8_t* buffer,
                                       std::size_t bytes) {
    const int error = m_ring->run({m_direct.get(), writing, offset, buffer, bytes});
    if (error != IoRing::kRefused)
        return error;
    m_ring.reset();
    return transferPlain(m_direct.get(), writing, offset, buffer, bytes);
}

int LinuxBlockHandle::transferBounced(bool writing, std::uint64_t offset, std::uint8_t* buffer,
                                      std::size_t bytes) {
    zel::Buffer bounce(std::min(bytes, kBounceBytes));
    for (std::size_t done = 0; done < bytes;) {
        const std::size_t piece = std::min(bounce.size(), bytes - done);
        if (writing)
            std::memcpy(bounce.data(), buffer + done, piece);
        if (const int error = transferPlain(m_direct.get(), writing, offset + done, bounce.data(), piece);
            error != 0)
            return error;
        if (!writing)
            std::memcpy(buffer + done, bounce.data(), piece);
        done += piece;
    }
    return 0;
}

int LinuxBlockHandle::transferPlain(int fd, bool writing, std::uint64_t offset, std::uint8_t* buffer,
                                    std::size_t bytes) {
    for (std::size_t done = 0; done < bytes;) {
        const auto position = static_cast<off_t>(offset + done);
        const ssize_t moved = writing ? pwrite(fd, buffer + done, bytes - done, position)
                                      : pread(fd, buffer + done, bytes - done, position);
        if (moved == 0)
            return IoRing::kEndOfDevice;
        if (moved < 0 && errno != EINTR)
            return errno;
        done += moved > 0 ? static_cast<std::size_t>(moved) : 0;
    }
    return 0;
}

DeviceStatus LinuxBlockHandle::read(std::uint64_t offset, void* buffer, std::size_t bytes) {
    return transfer(false, offset, static_cast<std::uint8_t*>(buffer), bytes);
}

DeviceStatus LinuxBlockHandle::write(std::uint64_t offset, const void* buffer, std::size_t bytes) {
    if (!m_info.writable)
        return {LIBDRIVE2_WRITE_PROTECTED_DEVICE, worded("the device was opened for reading only")};
    if (endsBefore(offset + bytes))
        return failure(IoRing::kEndOfDevice);
    // The system's calls take a pointer to changeable memory for both directions; a write only reads it.
    return transfer(true, offset, static_cast<std::uint8_t*>(const_cast<void*>(buffer)), bytes);
}

DeviceStatus LinuxBlockHandle::flush() {
    return zel::uninterrupted([this] { return fsync(m_buffered.get()); }) == 0 ? DeviceStatus{}
                                                                               : failure(errno);
}

DeviceStatus LinuxBlockHandle::dropCache() {
    return errnoStatus(posix_fadvise(m_buffered.get(), 0, 0, POSIX_FADV_DONTNEED));
}

}  // namespace libDrive2
