#include "libDrive2/linux/StorageUsers.h"

#include <sys/sysmacros.h>

#include <algorithm>
#include <cstdio>
#include <fstream>

#include "zel/Words.h"

namespace libDrive2 {

namespace fs = std::filesystem;

using zel::words;

namespace {

constexpr int kMostStoreys = 16;  ///< of devices on devices: more than anybody builds

/// 0 for file systems that are on no single device.
dev_t deviceOf(const Mount& mount) {
    unsigned majorNumber = 0;
    unsigned minorNumber = 0;
    if (std::sscanf(mount.number.c_str(), "%u:%u", &majorNumber, &minorNumber) != 2 || majorNumber == 0)
        return 0;
    return makedev(majorNumber, minorNumber);
}

/// The device that the mount was made from; 0 when it was none.
dev_t sourceOf(const Mount& mount) {
    struct stat found {};
    const bool isDevice =
        mount.source.starts_with('/') && stat(mount.source.c_str(), &found) == 0 && S_ISBLK(found.st_mode);
    return isDevice ? found.st_rdev : 0;
}

std::string place(const Mount& mount) {
    return mount.process == 0
               ? mount.folder
               : words("{folder} for process {n}", {{"folder", mount.folder}, {"n", mount.process}});
}

std::string join(const std::vector<std::string>& texts) {
    std::string joined;
    for (const std::string& text : texts)
        joined += (joined.empty() ? "" : ", ") + text;
    return joined;
}

}  // namespace

StorageUsers::StorageUsers() : m_mounts(listMountsEverywhere()), m_loops(listLoops()) {
    readSwaps();
    readBtrfsVolumes();
}

void StorageUsers::readSwaps() {
    std::ifstream table("/proc/swaps");
    std::string line;
    std::getline(table, line);
    while (std::getline(table, line)) {
        struct stat found {};
        if (stat(unescape(line.substr(0, line.find(' '))).c_str(), &found) == 0)
            m_swaps.emplace_back(found);
    }
}

/// /sys/fs/btrfs shows the mounted ones; their mounts name one device of each.
void StorageUsers::readBtrfsVolumes() {
    std::error_code failed;
    for (const auto& folder : fs::directory_iterator("/sys/fs/btrfs", failed)) {
        BtrfsVolume volume;
        std::error_code none;
        for (const auto& member : fs::directory_iterator(folder.path() / "devices", none))
            volume.members.insert(SysfsBlock::numberIn(member.path()));
        const auto mount = std::find_if(m_mounts.begin(), m_mounts.end(), [&volume](const Mount& each) {
            return each.type == "btrfs" && volume.members.contains(sourceOf(each));
        });
        if (mount != m_mounts.end())
            volume.folder = place(*mount);
        m_btrfs.push_back(std::move(volume));
    }
}

std::vector<std::string> StorageUsers::of(const struct stat& found, const std::string& name) {
    m_users.clear();
    m_own.clear();
    if (S_ISREG(found.st_mode))
        addFile(StorageNode(found), name);
    if (!S_ISBLK(found.st_mode) && !S_ISCHR(found.st_mode))
        return m_users;
    const SysfsBlock device =
        S_ISBLK(found.st_mode) ? SysfsBlock(found.st_rdev) : SysfsScsi(found.st_rdev).block();
    if (device.name().empty())
        return m_users;
    addBeneath(device, 0);
    addDevice(device, "");
    for (const SysfsBlock& path : device.otherPaths())
        addDevice(path, " " + words("(another path to {device})", {{"device", device.name()}}));
    return m_users;
}

void StorageUsers::add(const std::string& subject, const std::string& use) {
    const std::string text = words("{subject} {use}", {{"subject", subject}, {"use", use}});
    if (std::find(m_users.begin(), m_users.end(), text) == m_users.end())
        m_users.push_back(text);
}

/// A disk with all its partitions; a partition with the disk that it is cut from, but not its neighbours.
void StorageUsers::addDevice(const SysfsBlock& device, const std::string& note) {
    for (const SysfsBlock::Member& member : device.members())
        for (const std::string& use : usesOf(device, member, 0))
            add(member.name + note, use);
    if (!device.isPartition())
        return;
    const SysfsBlock disk = device.disk();
    for (const std::string& use : usesOf(disk, {disk.name(), disk.number()}, 0))
        add(disk.name() + note, use);
}

void StorageUsers::addFile(const StorageNode& file, const std::string& subject) {
    if (std::find(m_swaps.begin(), m_swaps.end(), file) != m_swaps.end())
        add(subject, words("is swap space"));
    std::vector<std::string> uses;
    findLoops(file, 0, uses);
    for (const std::string& use : uses)
        add(subject, use);
}

/// Of what a device is built on, whatever else reaches the same bytes. Mappings and arrays hold their members
/// for themselves, so that only loop devices can.
void StorageUsers::addBeneath(const SysfsBlock& device, int depth) {
    if (depth == kMostStoreys)
        return;
    const SysfsBlock disk = device.disk();
    for (const AttachedLoop& loop : m_loops) {
        if (loop.number != disk.number())
            continue;
        m_own.insert(loop.number);
        if (!loop.backing.isDevice) {
            addFile(loop.backing, words("the file behind {device}", {{"device", loop.name}}));
            continue;
        }
        const SysfsBlock behind(loop.backing.device);
        addBeneath(behind, depth + 1);
        addDevice(behind, "");
    }
    for (const SysfsBlock& slave : disk.slaves()) {
        std::vector<std::string> uses;
        StorageNode node;
        node.isDevice = true;
        node.device = slave.number();
        findLoops(node, 0, uses);
        for (const std::string& use : uses)
            add(slave.name(), use);
        addBeneath(slave, depth + 1);
    }
}

void StorageUsers::findMounts(dev_t number, std::vector<std::string>& uses) const {
    bool isSeenHere = false;
    for (const Mount& mount : m_mounts) {
        const dev_t single = deviceOf(mount);
        // Others mostly have copies of what is mounted here.
        if ((single != 0 ? single : sourceOf(mount)) != number || (isSeenHere && mount.process != 0))
            continue;
        isSeenHere = isSeenHere || mount.process == 0;
        uses.push_back(words("is mounted on {place}", {{"place", place(mount)}}));
    }
    for (const BtrfsVolume& volume : m_btrfs)
        if (uses.empty() && volume.members.contains(number))
            uses.push_back(volume.folder.empty() ? words("is part of a btrfs that is mounted")
                                                 : words("is part of a btrfs that is mounted on {place}",
                                                         {{"place", volume.folder}}));
}

void StorageUsers::findLoops(const StorageNode& backing, int depth, std::vector<std::string>& uses) const {
    for (const AttachedLoop& loop : m_loops)
        if (loop.backing == backing && !m_own.contains(loop.number))
            uses.push_back(words("is attached to {device}",
                                 {{"device", describe("/dev/" + loop.name, loop.name, depth + 1)}}));
}

std::vector<std::string> StorageUsers::usesOf(const SysfsBlock& owner, const SysfsBlock::Member& member,
                                              int depth) const {
    std::vector<std::string> uses;
    StorageNode node;
    node.isDevice = true;
    node.device = member.number;
    findMounts(member.number, uses);
    if (std::find(m_swaps.begin(), m_swaps.end(), node) != m_swaps.end())
        uses.push_back(words("is swap space"));
    findLoops(node, depth, uses);
    for (const std::string& holder : owner.holdersOf(member))
        uses.push_back(words("is part of {device}", {{"device", describe(holder, holder, depth + 1)}}));
    // Once it caches something, that is its holder.
    if (uses.empty() && owner.isCache(member))
        uses.push_back(words("is a cache of bcache"));
    return uses;
}

/// "dm-0 (vg-root, which is mounted on /srv)": with the mapper's name, and what is at the top.
std::string StorageUsers::describe(const std::string& path, const std::string& name, int depth) const {
    const fs::path folder = fs::path("/sys/class/block") / name;
    const SysfsBlock device(SysfsBlock::numberIn(folder));
    std::vector<std::string> details;
    if (const std::string mapped = readLine(folder / "dm" / "name"); !mapped.empty())
        details.push_back(mapped);
    if (depth < kMostStoreys)
        for (const SysfsBlock::Member& member : device.members())
            for (const std::string& use : usesOf(device, member, depth))
                details.push_back(member.name == name
                                      ? words("which {use}", {{"use", use}})
                                      : words("whose {part} {use}", {{"part", member.name}, {"use", use}}));
    return details.empty() ? path : path + " (" + join(details) + ")";
}

}  // namespace libDrive2
