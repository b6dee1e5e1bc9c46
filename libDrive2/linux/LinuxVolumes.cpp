#include "libDrive2/linux/LinuxVolumes.h"

#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <string>

#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/EncryptedVolumes.h"
#include "libDrive2/linux/ErrnoError.h"
#include "libDrive2/linux/LinuxBlockHandle.h"
#include "libDrive2/linux/MediumProbe.h"
#include "libDrive2/linux/StorageUsers.h"
#include "libDrive2/linux/SysfsBlock.h"
#include "libDrive2/linux/SysfsScsi.h"
#include "libDrive2/linux/VolumeSignatures.h"
#include "zel/Words.h"

namespace libDrive2 {

using zel::worded;

namespace {

FileDescriptor openFile(const std::string& path, int flags) {
    return FileDescriptor(uninterrupted([&path, flags] { return ::open(path.c_str(), flags | O_CLOEXEC); }));
}

std::string pathOf(const FileDescriptor& opened) {
    return "/proc/self/fd/" + std::to_string(opened.get());
}

struct flock lockOfAll(int type) {
    struct flock all {};
    all.l_type = static_cast<short>(type);
    all.l_whence = SEEK_SET;
    return all;
}

/// A lock over all bytes that belongs to the descriptor: unlike those that belong to a process, it is not
/// lost when the process closes some other descriptor of the same file.
int takeOfdLock(int fd, int type) {
    struct flock all = lockOfAll(type);
    return uninterrupted([fd, &all] { return fcntl(fd, F_OFD_SETLK, &all); });
}

bool isLockedByOthers(int error) {
    return error == EAGAIN || error == EACCES;
}

/// What the lock of another program says of its use; a text to translate.
const char* describeLock(int fd) {
    struct flock found = lockOfAll(F_WRLCK);
    const bool isToRead = fcntl(fd, F_OFD_GETLK, &found) == 0 && found.l_type == F_RDLCK;
    return isToRead ? zel::marked(
                          "{path} is in use: another program, such as a test that reads, keeps "
                          "others from writing to it")
                    : zel::marked("{path} is in use: another program has locked it");
}

SectorSource sectorsOf(BlockHandle& device) {
    const std::uint32_t bytes = std::max(1U, device.info().logicalSectorBytes);
    return {bytes, device.info().bytes / bytes, [&device, bytes](std::uint64_t lba, std::uint8_t* data) {
                return device.read(lba * bytes, data, bytes).ok();
            }};
}

zel::String join(const zel::Array<zel::String>& users) {
    zel::String text;
    for (const zel::String& user : users)
        text += (text.isEmpty() ? "" : ", ") + user;
    return text;
}

/// The disk of a partition, or the partitions of a disk.
std::vector<std::string> relatedNodes(dev_t number) {
    std::vector<std::string> nodes;
    const SysfsBlock device(number);
    if (device.isPartition())
        return {"/dev/" + device.disk().name()};
    for (const SysfsBlock::Member& member : device.members())
        if (member.number != number)
            nodes.push_back("/dev/" + member.name);
    return nodes;
}

}  // namespace

std::optional<struct stat> LinuxVolumes::found() {
    // Only a place in the file system: needs no right to read, and wakes no drive.
    if (!m_opened)
        m_opened = openFile(m_path.utf8(), O_PATH);
    struct stat status {};
    if (!m_opened || fstat(m_opened.get(), &status) != 0)
        return std::nullopt;
    return status;
}

FileDescriptor LinuxVolumes::reopen(int flags) {
    const auto status = found();
    if (!status)
        return {};
    // Optical drives open without a medium that can be read, too; and what is no drive must not keep us
    // waiting for its other end. Others are not ready before they were opened for waiting.
    const bool isDrive = S_ISREG(status->st_mode) || S_ISBLK(status->st_mode);
    const int patience = isDrive && !isOptical() ? 0 : O_NONBLOCK;
    const std::string path = pathOf(m_opened);
    const MediumProbe probe(path, *status);
    FileDescriptor opened = openFile(path, flags | patience);
    // A drive without a medium can be held, too.
    if (!opened && probe.meansNoMedium(errno))
        opened = openFile(path, flags | O_NONBLOCK);
    return opened;
}

bool LinuxVolumes::hasMedium() {
    const auto status = found();
    return status && MediumProbe(pathOf(m_opened), *status).hasMedium();
}

bool LinuxVolumes::isOptical() {
    const auto status = found();
    return status && S_ISBLK(status->st_mode) && SysfsBlock(status->st_rdev).isOptical();
}

zel::Array<zel::String> LinuxVolumes::holders() {
    zel::Array<zel::String> users;
    if (const auto status = found())
        for (const std::string& user : StorageUsers().of(*status, m_path.utf8()))
            users.append(user);
    return users;
}

zel::SharedPointer<LinuxBlockHandle> LinuxVolumes::reader(zel::Wording& problem) {
    const auto status = found();
    // Opening the node of a SCSI drive that another program holds would wait for that.
    if (!status || S_ISCHR(status->st_mode)) {
        problem = status ? worded("it is neither a block device nor an image file") : errnoStatus(errno).text;
        return {};
    }
    if (!m_reader) {
        m_reader = zel::SharedPointer<LinuxBlockHandle>(
            LinuxBlockHandle::open(pathOf(m_opened), kAccessRead, kShareRead | kShareWrite, m_path));
        problem = lastOpenErrorStr();
        return m_reader;
    }
    const DeviceStatus asked = m_reader->info().removable ? m_reader->reopen() : m_reader->query();
    if (!asked.ok()) {
        problem = asked.text;
        m_reader.release();
    }
    return m_reader;
}

zel::Array<VolumeContent> LinuxVolumes::contents() {
    zel::Wording problem;
    const auto device = reader(problem);
    return device ? describeContents(device->descriptor()) : zel::Array<VolumeContent>();
}

Encryption LinuxVolumes::examineEncryption(zel::Wording& reason) {
    zel::Wording problem;
    const auto device = reader(problem);
    if (!device) {
        reason = worded("{path} cannot be examined for encrypted volumes: {reason}",
                        {{"path", m_path}, {"reason", problem}});
        return Encryption::unexamined;
    }
    // Nor is there a volume without a medium, or where an optical medium holds no recording yet.
    std::uint8_t first = 0;
    if (!hasMedium() || (isOptical() && !device->read(0, &first, 1).ok()))
        return Encryption::none;
    // Sectors are read past the page cache, which would read those beside the wanted ones too.
    return findEncryptedVolume(sectorsOf(*device), m_path, listPartitions(device->descriptor()), reason);
}

bool LinuxVolumes::lock(zel::Wording& reason) {
    const DeviceStatus status = hold();
    if (!status.ok())
        reason = status.text;
    return status.ok();
}

DeviceStatus LinuxVolumes::hold() {
    if (m_lock)
        return {};
    if (const auto users = holders(); !users.isEmpty())
        return {LIBDRIVE2_BUSY,
                worded("{path} is in use: {users}", {{"path", m_path}, {"users", join(users)}})};
    const auto status = found();
    const bool isBlockDevice = status && S_ISBLK(status->st_mode);
    // Only a lease can hold such a node, before anybody opens it.
    if (status && S_ISCHR(status->st_mode) && SysfsScsi(status->st_rdev).isHidden())
        return {LIBDRIVE2_BUSY, worded("{path} is in use: {users}",
                                       {{"path", m_path}, {"users", worded("another program has it open")}})};
    // The kernel gives a whole disk exclusively only when nobody holds one of its partitions, and then
    // nobody can take a partition: one descriptor locks them all.
    // An optical medium is written by commands; its block node need not open for writing.
    const bool writable = !isOptical();
    FileDescriptor device = reopen((writable ? O_RDWR : O_RDONLY) | (isBlockDevice ? O_EXCL : 0));
    if (!device) {
        const int error = errno;
        const bool isForbidden = error == EACCES || errorTypeOf(error) == LIBDRIVE2_WRITE_PROTECTED_DEVICE;
        return {isForbidden ? LIBDRIVE2_WRITE_PROTECTED_DEVICE : LIBDRIVE2_BUSY,
                error == EBUSY ? describeBusy() : describeUntaken(error)};
    }
    zel::Wording reason;
    if (!lockAgainstOthers(device.get(), isBlockDevice, writable, reason) || !lockOtherPaths(reason))
        return {LIBDRIVE2_BUSY, reason};
    m_lock = std::move(device);
    return {};
}

/// By both ways that programs have to agree on it: who uses the one does not see the other.
bool LinuxVolumes::lockAgainstOthers(int fd, bool isBlockDevice, bool writable, zel::Wording& reason) const {
    const bool isLocked =
        takeOfdLock(fd, writable ? F_WRLCK : F_RDLCK) == 0 &&
        // Of a block device, the system's own services take that lock for a moment whenever
        // it changes.
        (isBlockDevice || uninterrupted([fd] { return flock(fd, LOCK_EX | LOCK_NB); }) == 0);
    if (isLocked)
        return true;
    const int error = errno;
    reason = isLockedByOthers(error) ? worded(describeLock(fd), {{"path", m_path}}) : describeUntaken(error);
    return false;
}

bool LinuxVolumes::lockForReading(zel::Wording& reason) {
    const auto status = found();
    FileDescriptor device = reopen(O_RDONLY);
    if (!status || !device)
        return true;  // nothing to keep anybody from: the test will tell
    const bool isBlockDevice = S_ISBLK(status->st_mode);
    // Where there are no such locks, nobody else has one either.
    const auto isRefused = [isBlockDevice](int fd) {
        return (!isBlockDevice && flock(fd, LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK) ||
               (takeOfdLock(fd, F_RDLCK) != 0 && isLockedByOthers(errno));
    };
    bool refused = isRefused(device.get());
    for (const std::string& other :
         isBlockDevice ? relatedNodes(status->st_rdev) : std::vector<std::string>()) {
        m_others.push_back(openFile(other, O_RDONLY | O_NONBLOCK));
        refused = refused || (m_others.back() && isRefused(m_others.back().get()));
    }
    if (refused) {
        m_others.clear();
        reason = worded("{path} is in use: another program, such as a test that writes, has locked it",
                        {{"path", m_path}});
        return false;
    }
    m_lock = std::move(device);
    return true;
}

/// The kernel knows nothing of the other paths to a drive that it gave away by one of them.
bool LinuxVolumes::lockOtherPaths(zel::Wording& reason) {
    m_others.clear();
    const auto status = found();
    if (!status || !S_ISBLK(status->st_mode))
        return true;
    const SysfsBlock device(status->st_rdev);
    for (const SysfsBlock& path : device.otherPaths()) {
        FileDescriptor other = openFile("/dev/" + path.name(), O_RDONLY | O_EXCL | O_NONBLOCK);
        if (!other && errno == EBUSY) {
            m_others.clear();
            reason =
                worded("{path} is in use: {other} (another path to {device}) is taken by another program",
                       {{"path", m_path}, {"other", path.name()}, {"device", device.name()}});
            return false;
        }
        // A path without a node, or one that is down, is nobody's way to the drive.
        if (other)
            m_others.push_back(std::move(other));
    }
    return true;
}

zel::Wording LinuxVolumes::describeUntaken(int error) const {
    return worded("{path} cannot be taken for this test alone: {reason}",
                  {{"path", m_path}, {"reason", errnoStatus(error).text}});
}

/// Some who hold a device are in none of the kernel's lists; what is on it may tell.
zel::Wording LinuxVolumes::describeBusy() {
    for (const VolumeContent& content : contents())
        if (content.what.utf8().find("zfs_member") != std::string::npos)
            return worded("{reason} (it belongs to a ZFS pool: {content})",
                          {{"reason", describeUntaken(EBUSY)}, {"content", content.what}});
    return describeUntaken(EBUSY);
}

bool LinuxVolumes::unlock(zel::Wording& reason) {
    m_others.clear();
    if (m_lock.reset())
        return true;
    reason = worded("{path} could not be given back: {reason}",
                    {{"path", m_path}, {"reason", errnoStatus(errno).text}});
    return false;
}

}  // namespace libDrive2
