#include "libDrive2/linux/LinuxVolumes.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <fstream>

#include "libDrive2/PlatformOpeners.h"
#include "libDrive2/linux/ErrnoError.h"
#include "libDrive2/linux/LinuxBlockHandle.h"
#include "libDrive2/linux/MountTable.h"
#include "libDrive2/linux/VolumeSignatures.h"

namespace libDrive2 {

namespace fs = std::filesystem;

namespace {

/// The device that a line of /proc/self/mountinfo mounts. File systems with several devices show a number
/// of their own there; the source path tells then.
dev_t mountedDevice(const std::string& number, const std::string& source) {
    struct stat found {};
    if (source.starts_with('/') && stat(source.c_str(), &found) == 0 && S_ISBLK(found.st_mode))
        return found.st_rdev;
    unsigned majorNumber = 0;
    unsigned minorNumber = 0;
    if (std::sscanf(number.c_str(), "%u:%u", &majorNumber, &minorNumber) != 2)
        return 0;
    return makedev(majorNumber, minorNumber);
}

void findMounts(const SysfsBlock::Member& member, zel::Array<zel::String>& users) {
    for (const Mount& mount : listMounts())
        if (mountedDevice(mount.number, mount.source) == member.number)
            users.append(member.name + " is mounted on " + mount.folder);
}

void findSwap(const SysfsBlock::Member& member, zel::Array<zel::String>& users) {
    std::ifstream table("/proc/swaps");
    std::string line;
    std::getline(table, line);
    while (std::getline(table, line)) {
        const std::string path = unescape(line.substr(0, line.find(' ')));
        struct stat found {};
        if (stat(path.c_str(), &found) == 0 && S_ISBLK(found.st_mode) && found.st_rdev == member.number)
            users.append(member.name + " is swap space");
    }
}

/// "dm-0 (vg-root)" where the mapper has a name, else the kernel's name.
std::string describeHolder(const std::string& holder) {
    const std::string mapped = readLine(fs::path("/sys/class/block") / holder / "dm" / "name");
    return mapped.empty() ? holder : holder + " (" + mapped + ")";
}

/// Whether two names lead to the same file or the same device, through whatever links.
bool isSame(const struct stat& a, const struct stat& b) {
    if (S_ISBLK(a.st_mode) || S_ISBLK(b.st_mode))
        return S_ISBLK(a.st_mode) && S_ISBLK(b.st_mode) && a.st_rdev == b.st_rdev;
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

/// Loop devices over a file or a device. The kernel lists them nowhere as holders.
void findLoops(const zel::String& name, const struct stat& backing, zel::Array<zel::String>& users) {
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator("/sys/block", ignored)) {
        const std::string path = readLine(entry.path() / "loop" / "backing_file");
        struct stat found {};
        if (!path.empty() && stat(path.c_str(), &found) == 0 && isSame(found, backing))
            users.append(name + " is attached to /dev/" + entry.path().filename().string());
    }
}

zel::String join(const zel::Array<zel::String>& users) {
    zel::String text;
    for (const zel::String& user : users)
        text += (text.isEmpty() ? "" : ", ") + user;
    return text;
}

}  // namespace

void LinuxVolumes::findUsers(const SysfsBlock& device, zel::Array<zel::String>& users) {
    for (const SysfsBlock::Member& member : device.members()) {
        struct stat node {};
        node.st_mode = S_IFBLK;
        node.st_rdev = member.number;
        findMounts(member, users);
        findSwap(member, users);
        findLoops(member.name, node, users);
        for (const std::string& holder : device.holdersOf(member))
            users.append(member.name + " is part of " + describeHolder(holder));
    }
}

zel::Array<zel::String> LinuxVolumes::holders() {
    zel::Array<zel::String> users;
    struct stat found {};
    if (stat(m_openPath.c_str(), &found) != 0)
        return users;
    if (S_ISBLK(found.st_mode))
        findUsers(SysfsBlock(found.st_rdev), users);
    else if (S_ISREG(found.st_mode))
        findLoops(m_path, found, users);
    return users;
}

/// Optical drives open without a medium that can be read, too.
int LinuxVolumes::openFlags() const {
    return O_CLOEXEC | (isOptical() ? O_NONBLOCK : 0);
}

bool LinuxVolumes::isOptical() const {
    struct stat found {};
    return stat(m_openPath.c_str(), &found) == 0 && S_ISBLK(found.st_mode) &&
           SysfsBlock(found.st_rdev).isOptical();
}

zel::Array<VolumeContent> LinuxVolumes::contents() {
    const FileDescriptor device(open(m_openPath.c_str(), O_RDONLY | openFlags()));
    return device ? describeContents(device.get()) : zel::Array<VolumeContent>();
}

bool LinuxVolumes::isEncrypted(zel::String& reason) {
    const FileDescriptor device(open(m_openPath.c_str(), O_RDONLY | openFlags()));
    if (!device) {
        reason = m_path + " cannot be examined for encrypted volumes: " + errnoStatus(errno).text;
        return true;
    }
    // Nor is there a volume where an optical medium holds no recording yet.
    std::uint8_t first = 0;
    if (isOptical() && pread(device.get(), &first, 1, 0) != 1)
        return false;
    return holdsEncryptedVolume(device.get(), m_path, reason);
}

bool LinuxVolumes::lock(zel::String& reason) {
    if (m_lock)
        return true;
    if (const auto users = holders(); !users.isEmpty()) {
        reason = m_path + " is in use: " + join(users);
        return false;
    }
    struct stat found {};
    const bool isBlockDevice = stat(m_openPath.c_str(), &found) == 0 && S_ISBLK(found.st_mode);
    // The kernel gives a whole disk exclusively only when nobody holds one of its partitions, and then
    // nobody can take a partition: one descriptor locks them all.
    // An optical medium is written by commands; its block node need not open for writing.
    const int access = isOptical() ? O_RDONLY : O_RDWR;
    FileDescriptor device(open(m_openPath.c_str(), access | openFlags() | (isBlockDevice ? O_EXCL : 0)));
    if (!device || (!isBlockDevice && flock(device.get(), LOCK_EX | LOCK_NB) != 0)) {
        reason = m_path + " cannot be taken for this test alone: " + errnoStatus(errno).text;
        return false;
    }
    m_lock = std::move(device);
    return true;
}

bool LinuxVolumes::unlock(zel::String& reason) {
    if (m_lock.reset())
        return true;
    reason = m_path + " could not be given back: " + errnoStatus(errno).text;
    return false;
}

std::unique_ptr<DeviceLockingManager::Volumes> platformVolumes(const zel::String& path) {
    return std::make_unique<LinuxVolumes>(path);
}

std::unique_ptr<BlockHandle> openPlatformBlockDevice(const zel::String& path, std::uint32_t desiredAccess,
                                                     std::uint32_t shareMode) {
    return LinuxBlockHandle::open(path, desiredAccess, shareMode);
}

}  // namespace libDrive2
