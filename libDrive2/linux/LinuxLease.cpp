#include "libDrive2/linux/LinuxLease.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/OpenLeases.h"
#include "libDrive2/linux/ErrnoError.h"
#include "libDrive2/linux/LinuxBlockHandle.h"
#include "libDrive2/linux/MediumProbe.h"
#include "libDrive2/linux/StorageMap.h"
#include "zel/Words.h"

namespace libDrive2 {

using zel::worded;
using zel::words;

namespace {

constexpr std::uint32_t kFileSectorBytes = 512;

std::string pathOfDescriptor(int fd) {
    return "/proc/self/fd/" + std::to_string(fd);
}

FileDescriptor duplicate(const FileDescriptor& descriptor) {
    return FileDescriptor(fcntl(descriptor.get(), F_DUPFD_CLOEXEC, 0));
}

DeviceStatus sizeOf(int fd, const struct stat& found, DriveIdentity& identity) {
    std::uint64_t bytes = static_cast<std::uint64_t>(found.st_size);
    int sectorBytes = kFileSectorBytes;
    if (S_ISBLK(found.st_mode) &&
        (ioctl(fd, BLKGETSIZE64, &bytes) != 0 || ioctl(fd, BLKSSZGET, &sectorBytes) != 0))
        return errnoStatus(errno);
    identity.sectorBytes = static_cast<std::uint32_t>(std::max(1, sectorBytes));
    identity.sectors = bytes / identity.sectorBytes;
    return {};
}

/// Why the path is no drive; empty when it may be one.
zel::Wording problemOf(const struct stat& found) {
    if (S_ISDIR(found.st_mode))
        return worded("it is a directory, not a drive or an image file");
    if (!S_ISBLK(found.st_mode) && !S_ISREG(found.st_mode))
        return worded("it is neither a block device nor an image file");
    return {};
}

}  // namespace

std::unique_ptr<DeviceLease> LinuxLease::take(const zel::String& path, LeasePurpose purpose,
                                              DeviceStatus& failure) {
    // Without waiting: a pipe or an empty drive must not keep anybody.
    FileDescriptor opened(::open(path.utf8().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!opened) {
        failure = errnoStatus(errno);
        failure.text =
            worded("{path} cannot be opened: {reason}", {{"path", path}, {"reason", failure.text}});
        return nullptr;
    }
    std::unique_ptr<LinuxLease> lease(new LinuxLease(path, purpose, std::move(opened)));
    failure = lease->begin();
    return failure.ok() ? std::move(lease) : nullptr;
}

LinuxLease::LinuxLease(const zel::String& path, LeasePurpose purpose, FileDescriptor descriptor)
    : DeviceLease(purpose),
      m_path(path),
      m_descriptor(std::move(descriptor)),
      m_volumes(path, duplicate(m_descriptor)) {
    OpenLeases::add(*this);
}

LinuxLease::~LinuxLease() {
    OpenLeases::remove(*this);
}

DeviceStatus LinuxLease::begin() {
    m_mediumNumber = mediumNumber();
    const DeviceStatus status = identify(m_identity);
    if (!status.ok())
        return {status.type,
                worded("{path} cannot be used: {reason}", {{"path", m_path}, {"reason", status.text}})};
    if (isExclusive())
        return m_volumes.hold();
    zel::Wording reason;
    return purpose() == LeasePurpose::look || m_volumes.lockForReading(reason)
               ? DeviceStatus{}
               : DeviceStatus{LIBDRIVE2_BUSY, reason};
}

zel::String LinuxLease::descriptorPath() const {
    return pathOfDescriptor(m_descriptor.get());
}

DeviceStatus LinuxLease::identify(DriveIdentity& identity) const {
    struct stat found {};
    if (fstat(m_descriptor.get(), &found) != 0)
        return errnoStatus(errno);
    if (const zel::Wording problem = problemOf(found); !problem.isEmpty())
        return {LIBDRIVE2_BAD_ARGUMENT, problem};
    StorageMap map;
    StorageMap::View view = map.of(found, pathOfDescriptor(m_descriptor.get()));
    identity.id = std::move(view.id);
    identity.storage = std::move(view.storage);
    identity.carriers = std::move(view.carriers);
    return sizeOf(m_descriptor.get(), found, identity);
}

bool LinuxLease::isUnchanged(zel::String& difference) {
    difference = findDifference();
    return difference.isEmpty();
}

zel::String LinuxLease::findDifference() const {
    DriveIdentity now;
    struct stat found {};
    if (const DeviceStatus status = identify(now); !status.ok() || fstat(m_descriptor.get(), &found) != 0)
        return words("{path} does not answer any more: {reason}",
                     {{"path", m_path}, {"reason", status.text}});
    const SysfsBlock device(S_ISBLK(found.st_mode) ? found.st_rdev : 0);
    // Media come and go in an optical drive; it stays the drive that it is.
    const bool hasOwnSize = !device.isOptical();
    const bool isEmpty = hasOwnSize && now.sectors == 0 && m_identity.sectors != 0;
    const bool isRemovable = MediumProbe(pathOfDescriptor(m_descriptor.get()), found).isRemovable();
    if (S_ISBLK(found.st_mode) && (!device.isUsable() || (isEmpty && !isRemovable)))
        return words("{path} is gone: it was taken away or switched off", {{"path", m_path}});
    if (isEmpty && isRemovable)
        return words("{path} holds no medium any more: it was taken out", {{"path", m_path}});
    if (!isMadeOfTheSame(now, m_identity))
        return words("{path} is stored on something else now: another drive has taken its place",
                     {{"path", m_path}});
    const bool wasEmpty = isRemovable && m_identity.sectors == 0;
    if (hasOwnSize && !wasEmpty &&
        (now.sectors != m_identity.sectors || now.sectorBytes != m_identity.sectorBytes))
        return words("{path} has another size now: {size}", {{"path", m_path}, {"size", now.describe()}});
    return {};
}

bool LinuxLease::takesWritesInOrderOnly() const {
    struct stat found {};
    return fstat(m_descriptor.get(), &found) == 0 && S_ISBLK(found.st_mode) &&
           SysfsBlock(found.st_rdev).disk().attribute("queue/zoned") == "host-managed";
}

bool LinuxLease::holdsForeignTags() const {
    struct stat found {};
    if (fstat(m_descriptor.get(), &found) != 0 || !S_ISBLK(found.st_mode))
        return false;
    std::error_code none;
    const auto disks = SysfsBlock(found.st_rdev).disk().folder() / "device" / "scsi_disk";
    for (const auto& disk : std::filesystem::directory_iterator(disks, none))
        if (readLine(disk.path() / "protection_type") > "0" && readLine(disk.path() / "app_tag_own") == "1")
            return true;
    return false;
}

std::uint64_t LinuxLease::mediumNumber() const {
    struct stat found {};
    if (fstat(m_descriptor.get(), &found) != 0 || !S_ISBLK(found.st_mode))
        return 0;
    const SysfsBlock device(found.st_rdev);
    const MediumProbe probe(pathOfDescriptor(m_descriptor.get()), found);
    // Asking for the medium makes the kernel look. An optical drive is held for whatever is put into it.
    const bool counts = probe.isRemovable() && !device.isOptical() && probe.hasMedium();
    return counts ? device.disk().numberAttribute("diskseq") : 0;
}

bool LinuxLease::isSameMedium(zel::String& difference) {
    if (m_identity.sectors == 0 || mediumNumber() == m_mediumNumber)
        return true;
    difference = words("the medium in {path} is not, or may not be, the one that was shown: start again",
                       {{"path", m_path}});
    return false;
}

SharedBlockHandle LinuxLease::openBlock(bool writable, zel::Wording& reason) {
    if (!writable)
        return m_volumes.reader(reason);
    auto handle = LinuxBlockHandle::open(m_path, kAccessRead | kAccessWrite, kShareRead | kShareWrite);
    if (handle == nullptr)
        reason = lastOpenErrorStr();
    return SharedBlockHandle(std::unique_ptr<BlockHandle>(std::move(handle)));
}

}  // namespace libDrive2
