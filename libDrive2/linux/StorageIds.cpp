#include "libDrive2/linux/StorageIds.h"

#include <blkid/blkid.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/sysmacros.h>

#include <cstring>
#include <memory>

#include "libDrive2/linux/FileDescriptor.h"
#include "libDrive2/linux/MountTable.h"
#include "zel/ReadFile.h"

namespace libDrive2 {

namespace {

using Kind = StorageId::Kind;

std::string bootId() {
    static const std::string id = readLine("/proc/sys/kernel/random/boot_id");
    return id;
}

std::string trimmed(const std::string& text) {
    const auto isBlank = [](char c) { return c == ' ' || c == '\0' || c == '\t' || c == '\r'; };
    std::size_t first = 0;
    std::size_t end = text.size();
    while (first < end && isBlank(text[first]))
        ++first;
    while (end > first && isBlank(text[end - 1]))
        --end;
    return text.substr(first, end - first);
}

std::string firstOf(const SysfsBlock& disk, std::initializer_list<const char*> names) {
    for (const char* name : names)
        if (std::string value = trimmed(disk.attribute(name)); !value.empty())
            return value;
    return {};
}

/// SPC-4, Unit Serial Number: four bytes, then the text.
std::string serialPageOf(const std::filesystem::path& folder) {
    const std::string bytes = zel::readFile(folder / "vpd_pg80").value_or("");
    return bytes.size() > 4 ? trimmed(bytes.substr(4)) : std::string();
}

/// An adapter may answer for the drive in it. What an IEEE registered name says is the drive's own.
bool isTrusted(const std::filesystem::path& folder, const std::string& wwid) {
    const bool isBehindUsb = folder.string().find("/usb") != std::string::npos;
    return !isBehindUsb || wwid.starts_with("naa.");
}

using Probe = std::unique_ptr<std::remove_pointer_t<blkid_probe>, decltype(&blkid_free_probe)>;

/// Over a device of this number, if its usual node leads to it.
struct ProbedDevice {
    explicit ProbedDevice(dev_t number)
        : node(::open(("/dev/" + SysfsBlock(number).name()).c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)) {
        struct stat found {};
        if (!node || fstat(node.get(), &found) != 0 || found.st_rdev != number)
            return;
        probe.reset(blkid_new_probe());
        if (probe != nullptr && blkid_probe_set_device(probe.get(), node.get(), 0, 0) != 0)
            probe.reset();
    }
    FileDescriptor node;
    Probe probe{nullptr, &blkid_free_probe};
};

constexpr long kZfsMagic = 0x2FC12FC1;

std::string hex(std::uint64_t value) {
    char text[17];
    std::snprintf(text, sizeof text, "%016lx", value);
    return text;
}

/// Of these the system's number comes from the UUID; of others it is the device's number.
bool hasLastingNumber(long magic) {
    return magic == EXT4_SUPER_MAGIC || magic == BTRFS_SUPER_MAGIC || magic == TMPFS_MAGIC ||
           magic == kZfsMagic;
}

std::string numberOfFileSystem(const std::string& path, dev_t fileSystem) {
    struct stat found {};
    struct statfs system {};
    if (stat(path.c_str(), &found) != 0 || found.st_dev != fileSystem || statfs(path.c_str(), &system) != 0 ||
        !hasLastingNumber(system.f_type))
        return {};
    std::uint64_t number = 0;
    static_assert(sizeof number == sizeof system.f_fsid);
    std::memcpy(&number, &system.f_fsid, sizeof number);
    return number == 0 ? std::string() : hex(number);
}

std::string uuidOn(dev_t number) {
    const ProbedDevice device(number);
    const char* uuid = nullptr;
    if (device.probe == nullptr)
        return {};
    blkid_probe_enable_superblocks(device.probe.get(), 1);
    blkid_probe_set_superblocks_flags(device.probe.get(), BLKID_SUBLKS_UUID);
    if (blkid_do_probe(device.probe.get()) != 0 ||
        blkid_probe_lookup_value(device.probe.get(), "UUID", &uuid, nullptr) != 0)
        return {};
    return uuid;
}

/// A file whose name is gone is still on a mounted file system.
std::string fileSystemId(dev_t fileSystem, const std::string& path) {
    if (const std::string number = numberOfFileSystem(path, fileSystem); !number.empty())
        return number;
    const std::string wanted = std::to_string(major(fileSystem)) + ":" + std::to_string(minor(fileSystem));
    for (const Mount& mount : listMounts())
        if (mount.number == wanted)
            if (const std::string number = numberOfFileSystem(mount.folder, fileSystem); !number.empty())
                return number;
    return uuidOn(fileSystem);
}

std::string birthOf(const std::string& path, dev_t fileSystem, ino_t inode) {
    struct statx found {};
    if (statx(AT_FDCWD, path.c_str(), 0, STATX_BTIME | STATX_INO, &found) != 0 || found.stx_ino != inode ||
        makedev(found.stx_dev_major, found.stx_dev_minor) != fileSystem ||
        (found.stx_mask & STATX_BTIME) == 0)
        return {};
    return std::to_string(found.stx_btime.tv_sec) + "." + std::to_string(found.stx_btime.tv_nsec);
}

}  // namespace

StorageId lastingIdOf(const SysfsBlock& disk) {
    const std::string wwid = firstOf(disk, {"wwid", "device/wwid", "device/cid"});
    if (!isTrusted(disk.folder(), wwid))
        return {};
    const std::string page = serialPageOf(disk.folder() / "device");
    const std::string serial = page.empty() ? firstOf(disk, {"device/serial", "serial"}) : page;
    if (!wwid.empty())
        return {Kind::wwid, wwid + (serial.empty() ? "" : ";" + serial)};
    if (serial.empty())
        return {};
    return {Kind::serial,
            firstOf(disk, {"device/model", "device/name"}) + ";" + serial + ";" + disk.attribute("size")};
}

StorageId lastingIdOf(const SysfsScsi& drive) {
    const std::string wwid = trimmed(drive.attribute("wwid"));
    const std::string serial = serialPageOf(drive.folder());
    if (!isTrusted(drive.folder(), wwid) || (wwid.empty() && serial.empty()))
        return {};
    if (!wwid.empty())
        return {Kind::wwid, wwid + (serial.empty() ? "" : ";" + serial)};
    return {Kind::serial, trimmed(drive.attribute("model")) + ";" + serial};
}

StorageId passingIdOf(const SysfsScsi& drive) {
    return {Kind::boot, bootId() + ":scsi:" + drive.folder().string()};
}

StorageId passingIdOf(const SysfsBlock& device, dev_t number) {
    const std::string sequence = device.attribute("diskseq");
    return {Kind::boot,
            bootId() + (sequence.empty() ? ":device:" + std::to_string(number) : ":disk:" + sequence)};
}

StorageId partitionIdOf(const SysfsBlock& partition) {
    const ProbedDevice disk(partition.disk().number());
    if (disk.probe == nullptr)
        return {};
    blkid_probe_enable_partitions(disk.probe.get(), 1);
    const blkid_partlist list = blkid_probe_get_partitions(disk.probe.get());
    const auto wanted = static_cast<int>(partition.numberAttribute("partition"));
    for (int i = 0; list != nullptr && i < blkid_partlist_numof_partitions(list); ++i) {
        const blkid_partition each = blkid_partlist_get_partition(list, i);
        const char* const uuid = blkid_partition_get_uuid(each);
        if (blkid_partition_get_partno(each) == wanted && uuid != nullptr)
            return {Kind::partition, uuid};
    }
    return {};
}

StorageId arrayIdOf(const SysfsBlock& array) {
    const bool isArray = !array.attribute("md/level").empty();
    const std::string uuid = isArray ? uuidOn(array.slaves().front().number()) : std::string();
    return uuid.empty() ? StorageId() : StorageId(Kind::array, uuid);
}

StorageId fileIdOf(dev_t fileSystem, ino_t inode, const std::string& path) {
    const std::string system = fileSystemId(fileSystem, path);
    if (system.empty())
        return {Kind::boot, bootId() + ":file:" + std::to_string(fileSystem) + ":" + std::to_string(inode)};
    StorageId id(Kind::file, system + ":" + std::to_string(inode));
    id.birth = birthOf(path, fileSystem, inode);
    return id;
}

}  // namespace libDrive2
