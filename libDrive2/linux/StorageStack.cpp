#include "libDrive2/linux/StorageStack.h"

#include <sys/sysmacros.h>

#include <algorithm>
#include <cstdio>
#include <optional>
#include <sstream>
#include <vector>

#include "libDrive2/linux/MountTable.h"
#include "libDrive2/linux/SysfsBlock.h"

namespace libDrive2 {

namespace fs = std::filesystem;

namespace {

/// The mount that shows a path: of the deepest mount points above it, the last one.
std::optional<Mount> mountOf(const fs::path& path) {
    std::optional<Mount> found;
    for (const Mount& mount : listMounts()) {
        const std::string below = mount.folder == "/" ? "/" : mount.folder + "/";
        if ((path.string() + "/").starts_with(below) &&
            (!found || mount.folder.size() >= found->folder.size()))
            found = mount;
    }
    return found;
}

/// The value of a file system's option such as "upperdir"; empty when it has none.
std::string optionOf(const Mount& mount, const std::string& name) {
    std::istringstream options(mount.options);
    for (std::string option; std::getline(options, option, ',');)
        if (option.starts_with(name + "="))
            return unescape(option.substr(name.size() + 1));
    return {};
}

bool isStoredElsewhere(const std::string& type) {
    static const std::set<std::string> types = {"tmpfs", "ramfs", "nfs",      "nfs4",   "cifs",       "smb3",
                                                "ceph",  "9p",    "virtiofs", "vboxsf", "fuse.sshfs", "afs"};
    return types.contains(type);
}

fs::path folderOf(dev_t number) {
    std::error_code failed;
    const fs::path folder = fs::canonical(
        "/sys/dev/block/" + std::to_string(major(number)) + ":" + std::to_string(minor(number)), failed);
    return failed ? fs::path() : folder;
}

dev_t numberIn(const fs::path& folder) {
    unsigned majorNumber = 0;
    unsigned minorNumber = 0;
    if (std::sscanf(readLine(folder / "dev").c_str(), "%u:%u", &majorNumber, &minorNumber) != 2)
        return 0;
    return makedev(majorNumber, minorNumber);
}

/// The disk behind a node that passes commands through, such as /dev/sg0 or /dev/nvme0.
std::vector<dev_t> disksOf(dev_t characterDevice) {
    std::error_code failed;
    const fs::path folder = fs::canonical("/sys/dev/char/" + std::to_string(major(characterDevice)) + ":" +
                                              std::to_string(minor(characterDevice)),
                                          failed);
    std::vector<dev_t> disks;
    if (failed)
        return disks;
    for (const auto& entry : fs::directory_iterator(folder / "device" / "block", failed))
        disks.push_back(numberIn(entry.path()));
    for (const auto& entry : fs::directory_iterator("/sys/class/block", failed))
        if (const std::string name = entry.path().filename();
            name.starts_with(folder.filename().string() + "n") && !fs::exists(entry.path() / "partition"))
            disks.push_back(numberIn(entry.path()));
    return disks;
}

}  // namespace

fs::path nearestExisting(const fs::path& path) {
    std::error_code failed;
    fs::path existing = fs::absolute(path, failed);
    while (!fs::exists(existing, failed) && existing.has_relative_path())
        existing = existing.parent_path();
    return existing;
}

void StorageStack::note(const std::string& problem) {
    if (m_problem.empty())
        m_problem = problem;
}

void StorageStack::addFileSystem(const fs::path& path) {
    struct stat found {};
    if (stat(path.c_str(), &found) != 0)
        note(path.string() + " cannot be found");
    else if (!folderOf(found.st_dev).empty())
        addDevice(found.st_dev, Use::whole);
    else
        addMountSource(path, found.st_dev);
}

/// Of file systems with a number that is no device's: several devices, subvolumes, layers over others.
void StorageStack::addMountSource(const fs::path& path, dev_t number) {
    std::error_code failed;
    const auto mount = mountOf(fs::canonical(path, failed));
    struct stat source {};
    if (!mount) {
        note("the file system of " + path.string() + " is not among the mounted ones");
    } else if (const std::string upper = optionOf(*mount, "upperdir");
               mount->type == "overlay" && !upper.empty()) {
        // Seen from within a container, the path may lead nowhere, or back to the same file system.
        struct stat found {};
        if (stat(upper.c_str(), &found) == 0 && found.st_dev != number)
            addFileSystem(upper);
        else
            note("the layers of " + mount->folder + " cannot be seen from here");
    } else if (stat(mount->source.c_str(), &source) == 0 && S_ISBLK(source.st_mode)) {
        addDevice(source.st_rdev, Use::whole);
        addBtrfsMembers(SysfsBlock(source.st_rdev).name());
    } else if (!isStoredElsewhere(mount->type)) {
        note("the devices of " + mount->folder + " (" + mount->type + ") cannot be found out");
    }
}

/// A mount names one device of a btrfs; the others share its folder in /sys.
void StorageStack::addBtrfsMembers(const std::string& name) {
    std::error_code failed;
    for (const auto& volume : fs::directory_iterator("/sys/fs/btrfs", failed))
        if (fs::exists(volume.path() / "devices" / name, failed))
            for (const auto& member : fs::directory_iterator(volume.path() / "devices", failed))
                addDevice(numberIn(member.path()), Use::whole);
}

void StorageStack::addDevice(dev_t number, Use use) {
    if (number == 0 || !m_devices.insert({number, use}).second)
        return;
    const fs::path folder = folderOf(number);
    if (folder.empty())
        return note("a device below is unknown to the system");
    std::error_code failed;
    if (fs::exists(folder / "partition", failed))
        addDevice(numberIn(folder.parent_path()), Use::byPartition);
    for (const auto& member : fs::directory_iterator(folder / "slaves", failed))
        addDevice(numberIn(member.path()), Use::whole);
    if (const std::string backing = readLine(folder / "loop" / "backing_file"); !backing.empty())
        addFile(backing);
}

void StorageStack::addFile(const fs::path& path) {
    struct stat found {};
    if (stat(path.c_str(), &found) != 0)
        return note(path.string() + ", behind a loop device, cannot be found");
    if (S_ISBLK(found.st_mode))
        return addDevice(found.st_rdev, Use::whole);
    if (m_files.insert({found.st_dev, found.st_ino}).second)
        addFileSystem(path);
}

/// A partition is a part as well when its disk is used as a whole.
bool StorageStack::containsDevice(dev_t number) const {
    if (m_devices.contains({number, Use::whole}) || m_devices.contains({number, Use::byPartition}))
        return true;
    const fs::path folder = folderOf(number);
    std::error_code failed;
    if (fs::exists(folder / "partition", failed) &&
        m_devices.contains({numberIn(folder.parent_path()), Use::whole}))
        return true;
    const std::string backing = readLine(folder / "loop" / "backing_file");
    return !backing.empty() && contains(backing);
}

bool StorageStack::contains(const fs::path& drive) const {
    struct stat found {};
    if (stat(drive.c_str(), &found) != 0)
        return false;
    if (S_ISBLK(found.st_mode))
        return containsDevice(found.st_rdev);
    if (S_ISREG(found.st_mode))
        return m_files.contains({found.st_dev, found.st_ino});
    const auto disks = S_ISCHR(found.st_mode) ? disksOf(found.st_rdev) : std::vector<dev_t>();
    return std::any_of(disks.begin(), disks.end(), [this](dev_t disk) { return containsDevice(disk); });
}

}  // namespace libDrive2
