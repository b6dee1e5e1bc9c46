#include "libDrive2/linux/StorageMap.h"

#include <sys/sysmacros.h>

#include <cstdio>
#include <optional>
#include <sstream>

#include "libDrive2/linux/MappingTable.h"
#include "libDrive2/linux/MountTable.h"
#include "libDrive2/linux/StorageIds.h"
#include "zel/Words.h"

namespace libDrive2 {

namespace fs = std::filesystem;

using zel::words;

namespace {

constexpr std::uint64_t kSizeUnit = 512;  ///< of sizes and starts in /sys
constexpr int kMostLayers = 32;

/// A piece of what extents that follow one another make up. `bytes` 0: to the end.
std::vector<StorageExtent> slice(const std::vector<StorageExtent>& whole, std::uint64_t start,
                                 std::uint64_t bytes) {
    std::vector<StorageExtent> pieces;
    std::uint64_t left = bytes;
    for (const StorageExtent& extent : whole) {
        if (extent.bytes != 0 && start >= extent.bytes) {
            start -= extent.bytes;
            continue;
        }
        const std::uint64_t room = extent.bytes == 0 ? 0 : extent.bytes - start;
        const std::uint64_t taken = room == 0 || (bytes != 0 && left < room) ? left : room;
        pieces.push_back({extent.id, extent.start + start, taken});
        start = 0;
        left -= bytes != 0 ? taken : 0;
        if (bytes != 0 && left == 0)
            break;
    }
    return pieces;
}

void append(std::vector<StorageExtent>& all, const std::vector<StorageExtent>& more) {
    all.insert(all.end(), more.begin(), more.end());
}

/// The value of a file system's option such as "upperdir"; empty when it has none.
std::string optionOf(const Mount& mount, const std::string& name) {
    std::istringstream options(mount.options);
    for (std::string option; std::getline(options, option, ',');)
        if (option.starts_with(name + "="))
            return unescape(option.substr(name.size() + 1));
    return {};
}

/// Memory that is driven as a disk.
bool isRamDisk(const std::string& name) {
    const auto isNumbered = [&name](const std::string& driver) {
        return name.starts_with(driver) &&
               name.find_first_not_of("0123456789", driver.size()) == std::string::npos;
    };
    return isNumbered("zram") || isNumbered("ram");
}

bool isInMemory(const std::string& type) {
    return type == "tmpfs" || type == "devtmpfs" || type == "ramfs" || type == "rootfs";
}

/// Also when it never waits for its writes.
bool isLostWithPower(const Mount& mount) {
    return isInMemory(mount.type) ||
           (mount.type == "overlay" && ("," + mount.options + ",").find(",volatile,") != std::string::npos);
}

bool isStoredElsewhere(const std::string& type) {
    static const std::set<std::string> types = {"nfs", "nfs4",     "cifs",   "smb3",       "ceph",
                                                "9p",  "virtiofs", "vboxsf", "fuse.sshfs", "afs"};
    return isInMemory(type) || types.contains(type);
}

}  // namespace

fs::path nearestExisting(const fs::path& path) {
    std::error_code failed;
    fs::path existing = fs::absolute(path, failed);
    while (!fs::exists(existing, failed) && existing.has_relative_path())
        existing = existing.parent_path();
    return existing;
}

void StorageMap::note(const std::string& problem) {
    if (m_problem.empty())
        m_problem = problem;
}

StorageMap::View StorageMap::of(const struct stat& found, const std::string& path) {
    if (S_ISBLK(found.st_mode))
        return ofDevice(found.st_rdev);
    if (S_ISREG(found.st_mode) || S_ISDIR(found.st_mode))
        return ofFile(found.st_dev, found.st_ino, path);
    return {};
}

StorageMap::View StorageMap::ofDevice(dev_t number) {
    const SysfsBlock device(number);
    if (device.name().empty() || ++m_depth > kMostLayers) {
        note(words("a device below is unknown to the system"));
        return ofDisk(device, number);
    }
    View view;
    if (device.isPartition())
        view = ofPartition(device);
    else if (const auto backing = LoopBacking::of(number))
        view = ofLoop(*backing);
    else if (!device.attribute("dm/name").empty())
        view = ofMapping(device, number);
    else if (!device.slaves().empty())
        view = ofArray(device, number);
    else
        view = ofDisk(device, number);
    --m_depth;
    return view;
}

StorageMap::View StorageMap::ofDisk(const SysfsBlock& device, dev_t number) {
    const StorageId lasting = lastingIdOf(device);
    return {
        lasting, {{lasting.empty() ? passingIdOf(device, number) : lasting}}, {}, isRamDisk(device.name())};
}

StorageMap::View StorageMap::ofPartition(const SysfsBlock& device) {
    const View disk = ofDevice(device.disk().number());
    const std::uint64_t start = device.numberAttribute("start") * kSizeUnit;
    const std::uint64_t bytes = device.numberAttribute("size") * kSizeUnit;
    return {disk.id.empty() ? partitionIdOf(device) : disk.id.part(start, bytes),
            slice(disk.storage, start, bytes), disk.carriers, disk.isVolatile};
}

StorageMap::View StorageMap::ofLoop(const LoopBacking& backing) {
    const View whole = backing.isBlockDevice ? ofDevice(backing.device)
                                             : ofFile(backing.device, backing.inode, backing.path);
    return {whole.id.part(backing.offset, backing.bytes), slice(whole.storage, backing.offset, backing.bytes),
            whole.carriers, whole.isVolatile};
}

StorageMap::View StorageMap::ofMapping(const SysfsBlock& device, dev_t number) {
    const std::string uuid = device.attribute("dm/uuid");
    const StorageId id = uuid.empty() ? StorageId() : StorageId(StorageId::Kind::mapping, uuid);
    const auto table = mappingTableOf(number);
    if (!table)
        return overMembers(id, device, number);
    View view{id, {}, {}};
    for (const MappedStretch& stretch : *table) {
        const View below = stretch.device == 0 ? View{{}, {{}}, {}} : ofDevice(stretch.device);
        append(view.storage, slice(below.storage, stretch.offset, stretch.bytes));
        append(view.carriers, below.carriers);
        view.isVolatile = view.isVolatile || below.isVolatile;
    }
    return view;
}

StorageMap::View StorageMap::ofArray(const SysfsBlock& device, dev_t number) {
    return overMembers(arrayIdOf(device), device, number);
}

StorageMap::View StorageMap::overMembers(const StorageId& id, const SysfsBlock& device, dev_t number) {
    View view{id, {{id.empty() ? passingIdOf(device, number) : id}}, {}};
    for (const SysfsBlock& member : device.slaves())
        addCarrier(view, member.number());
    return view;
}

void StorageMap::addCarrier(View& view, dev_t number) {
    const View below = ofDevice(number);
    append(view.carriers, below.storage);
    append(view.carriers, below.carriers);
    view.isVolatile = view.isVolatile || below.isVolatile;
}

StorageMap::View StorageMap::ofFile(dev_t fileSystem, ino_t inode, const std::string& path) {
    const StorageId id = fileIdOf(fileSystem, inode, path);
    View view{id.kind == StorageId::Kind::file ? id : StorageId(), {{id}}, {}};
    if (m_entered.insert(fileSystem).second)
        addFileSystem(view, fileSystem, path);
    return view;
}

void StorageMap::addFileSystem(View& view, dev_t fileSystem, const fs::path& path) {
    if (!SysfsBlock(fileSystem).name().empty())
        addCarrier(view, fileSystem);
    else
        addMountSource(view, fileSystem, path);
}

/// Of file systems with a number that is no device's: several devices, subvolumes, layers over others.
void StorageMap::addMountSource(View& view, dev_t fileSystem, const fs::path& path) {
    std::error_code failed;
    const auto mount = mountAbove(fs::canonical(path, failed));
    // A deleted file's folder tells that much.
    const auto nearest = mount ? mount : mountAbove(fs::canonical(nearestExisting(path), failed));
    view.isVolatile = view.isVolatile || (nearest && isLostWithPower(*nearest));
    struct stat source {};
    if (!mount) {
        note(words("the file system of {path} is not among the mounted ones", {{"path", path.string()}}));
    } else if (const std::string upper = optionOf(*mount, "upperdir");
               mount->type == "overlay" && !upper.empty()) {
        // Seen from within a container, the path may lead nowhere, or back to the same file system.
        struct stat found {};
        if (stat(upper.c_str(), &found) == 0 && found.st_dev != fileSystem)
            addFileSystem(view, found.st_dev, upper);
        else
            note(words("the layers of {folder} cannot be seen from here", {{"folder", mount->folder}}));
    } else if (stat(mount->source.c_str(), &source) == 0 && S_ISBLK(source.st_mode)) {
        addCarrier(view, source.st_rdev);
        addBtrfsMembers(view, SysfsBlock(source.st_rdev).name());
    } else if (!isStoredElsewhere(mount->type)) {
        note(words("the devices of {folder} ({type}) cannot be found out",
                   {{"folder", mount->folder}, {"type", mount->type}}));
    }
}

/// A mount names one device of a btrfs; the others share its folder in /sys.
void StorageMap::addBtrfsMembers(View& view, const std::string& name) {
    std::error_code failed;
    for (const auto& volume : fs::directory_iterator("/sys/fs/btrfs", failed))
        if (fs::exists(volume.path() / "devices" / name, failed))
            for (const auto& member : fs::directory_iterator(volume.path() / "devices", failed))
                addCarrier(view, SysfsBlock::numberIn(member.path()));
}

}  // namespace libDrive2
