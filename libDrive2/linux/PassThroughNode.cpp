#include "libDrive2/linux/PassThroughNode.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <scsi/sg.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "libDrive2/OpenLeases.h"
#include "libDrive2/linux/ErrnoError.h"
#include "libDrive2/linux/ScsiNodeLease.h"
#include "libDrive2/linux/SysfsBlock.h"
#include "libDrive2/linux/SysfsScsi.h"
#include "zel/Uninterrupted.h"
#include "zel/Words.h"

namespace libDrive2 {

namespace {

/// One command takes at most 256 pages of memory that do not lie side by side.
constexpr std::size_t kMaxTransferBytes = std::size_t{1} << 20;
/// What every driver takes.
constexpr std::size_t kSafeTransferBytes = std::size_t{64} << 10;

}  // namespace

DeviceStatus PassThroughNode::checkWholeDevice() const {
    struct stat found {};
    if (fstat(m_fd.get(), &found) != 0)
        return errnoStatus(errno);
    if (S_ISCHR(found.st_mode))
        return {};
    if (!S_ISBLK(found.st_mode))
        return {LIBDRIVE2_NOT_SUPPORTED, zel::worded("it is no device, so it takes no commands")};
    const SysfsBlock device(found.st_rdev);
    if (device.isPartition())
        return {LIBDRIVE2_NOT_SUPPORTED,
                zel::worded("it is a partition: commands go to the whole drive only")};
    if (device.isVirtual())
        return {LIBDRIVE2_NOT_SUPPORTED,
                zel::worded("it is no drive but made by the system, so it takes no commands")};
    return {};
}

/// The generic driver tells its limits itself: bytes, and pieces of memory.
void PassThroughNode::readNodeLimits() {
    int bytes = 0;
    int pieces = 0;
    if (ioctl(m_fd.get(), BLKSECTGET, &bytes) != 0 || ioctl(m_fd.get(), SG_GET_SG_TABLESIZE, &pieces) != 0 ||
        bytes <= 0 || pieces <= 1)
        return;
    const auto pageBytes = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    m_maxTransferBytes = std::min({static_cast<std::size_t>(bytes),
                                   (static_cast<std::size_t>(pieces) - 1) * pageBytes, kMaxTransferBytes});
}

void PassThroughNode::readLimits() {
    m_maxTransferBytes = m_maxAdjoiningBytes = kSafeTransferBytes;
    struct stat found {};
    if (fstat(m_fd.get(), &found) != 0)
        return;
    if (S_ISCHR(found.st_mode) && SysfsScsi(found.st_rdev).isDisk())
        return readNodeLimits();
    if (!S_ISBLK(found.st_mode))
        return;
    const SysfsBlock device(found.st_rdev);
    const std::uint64_t bytes =
        std::min<std::uint64_t>(device.queueLimit("max_hw_sectors_kb") * 1024, kMaxTransferBytes);
    // A buffer that begins within a page touches one page more.
    const std::uint64_t segments = device.queueLimit("max_segments");
    const auto pageBytes = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
    if (bytes == 0 || segments <= 1)
        return;
    m_maxTransferBytes = static_cast<std::size_t>(std::min(bytes, (segments - 1) * pageBytes));
    m_maxAdjoiningBytes = static_cast<std::size_t>(bytes);
}

DeviceStatus PassThroughNode::open() {
    m_fd.reset();
    // Without waiting for a medium, which commands can be about.
    const int flags = (m_writable ? O_RDWR : O_RDONLY) | O_NONBLOCK | O_CLOEXEC;
    const std::string path = OpenLeases::pathOf(m_path).utf8();
    const auto* const held = dynamic_cast<const ScsiNodeLease*>(OpenLeases::find(m_path));
    m_fd = held != nullptr && held->isExclusive()
               ? held->duplicate()
               : FileDescriptor(zel::uninterrupted([&] { return ::open(path.c_str(), flags); }));
    if (!m_fd)
        return errnoStatus(errno);
    if (DeviceStatus status = checkWholeDevice(); !status.ok()) {
        m_fd.reset();
        return status;
    }
    readLimits();
    return {};
}

bool PassThroughNode::isGone() const {
    struct stat found {};
    return fstat(m_fd.get(), &found) != 0 ||
           (S_ISBLK(found.st_mode) && !SysfsBlock(found.st_rdev).isUsable()) ||
           (S_ISCHR(found.st_mode) && !SysfsScsi(found.st_rdev).isUsable());
}

DeviceStatus PassThroughNode::ioctlFailure(int error) const {
    DeviceStatus status = errnoStatus(error);
    if (error == ENODEV || error == ENXIO || isGone())
        return {LIBDRIVE2_NO_ACCESS, zel::worded("the device is gone ({reason})", {{"reason", status.text}})};
    // No signal reaches a command: the kernel itself has given it up, after it was not answered for long.
    if (error == EINTR)
        return {LIBDRIVE2_TIMEOUT, zel::worded("the device did not answer in time")};
    // The command itself was not answered: nothing is known of the medium.
    if (status.type == LIBDRIVE2_MEDIA_ERROR)
        status.type = LIBDRIVE2_LINK_ERROR;
    if (error == EPERM || error == EACCES)
        return {LIBDRIVE2_NO_ACCESS,
                zel::worded("the system does not let this user send the command; run as root")};
    return status;
}

}  // namespace libDrive2
