#include "libDrive2/windows/VolumeContents.h"

#include <algorithm>

#include "libDrive2/windows/FileSystemSignatures.h"
#include "libDrive2/windows/answers/DriveLayout.h"
#include "zel/Format.h"
#include "zel/Words.h"

namespace libDrive2 {

namespace {

std::optional<DriveLayout> layoutOf(const WindowsTarget& target) {
    if (target.kind != WindowsTarget::Kind::disk)
        return std::nullopt;
    const zel::Handle disk = zel::openToAsk(diskPath(target.number.number));
    return disk ? parseDriveLayout(zel::askDevice(disk.get(), IOCTL_DISK_GET_DRIVE_LAYOUT_EX)) : std::nullopt;
}

/// What the volume that begins there is to the system; empty when it has none there, or does not know it.
std::string systemsWord(std::uint32_t disk, std::uint64_t start, const std::vector<SystemVolume>& volumes) {
    for (const SystemVolume& volume : volumes)
        if (!volume.extents.empty() && volume.extents.front().disk == disk &&
            volume.extents.front().start == start)
            return describeFileSystem(volume);
    return {};
}

zel::String describePartition(std::uint32_t number, const std::string& content) {
    return zel::words(
        "partition {n}: {content}",
        {{"n", number}, {"content", content.empty() ? zel::words("nothing that is recognised") : content}});
}

zel::Array<VolumeContent> describeLayout(const WindowsTarget& target, const DriveLayout& layout,
                                         const std::vector<SystemVolume>& volumes, BlockHandle* device) {
    zel::Array<VolumeContent> found;
    if (*layout.table() != '\0')
        found.append({zel::words("partition table {type}", {{"type", layout.table()}})});
    for (const LayoutPartition& part : layout.partitions) {
        std::string content = systemsWord(target.number.number, part.start, volumes);
        if (content.empty() && device != nullptr)
            content = findFileSystem(sectorsOf(*device), part.start);
        found.append({describePartition(part.number, content), part.bytes});
    }
    return found;
}

zel::Array<VolumeContent> describeSectors(const SectorSource& device) {
    zel::Array<VolumeContent> found;
    if (const std::string whole = findFileSystem(device, 0); !whole.empty())
        found.append({whole});
    const std::vector<PartitionStart> partitions = readPartitionTable(device).partitions;
    if (!partitions.empty())
        found.append({zel::words("a partition table")});
    for (const PartitionStart& each : partitions)
        found.append({describePartition(static_cast<std::uint32_t>(each.number),
                                        findFileSystem(device, each.offset))});
    return found;
}

}  // namespace

SectorSource sectorsOf(BlockHandle& device) {
    return sectorsOf(device, {0, 0, device.info().bytes});
}

SectorSource sectorsOf(BlockHandle& device, const DiskExtent& stretch) {
    const std::uint32_t bytes = std::max(1U, device.info().logicalSectorBytes);
    const std::uint64_t start = stretch.start;
    return {bytes, stretch.bytes / bytes, [&device, bytes, start](std::uint64_t lba, std::uint8_t* data) {
                return device.read(start + lba * bytes, data, bytes).ok();
            }};
}

std::vector<PartitionStart> listPartitions(const WindowsTarget& target) {
    std::vector<PartitionStart> found;
    if (const auto layout = layoutOf(target))
        for (const LayoutPartition& part : layout->partitions)
            found.push_back({static_cast<int>(part.number), part.start});
    return found;
}

zel::Array<VolumeContent> describeContents(const WindowsTarget& target,
                                           const std::vector<SystemVolume>& volumes, BlockHandle* device) {
    if (const auto layout = layoutOf(target); layout && layout->style != DriveLayout::Style::raw)
        return describeLayout(target, *layout, volumes, device);
    if (target.kind == WindowsTarget::Kind::volume)
        for (const SystemVolume& volume : volumes)
            if (const std::string known = describeFileSystem(volume);
                volume.extents == target.extents && !known.empty())
                return {{known}};
    return device != nullptr ? describeSectors(sectorsOf(*device)) : zel::Array<VolumeContent>();
}

}  // namespace libDrive2
