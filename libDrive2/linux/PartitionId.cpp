#include "libDrive2/linux/PartitionId.h"

#include <blkid/blkid.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <memory>

#include "libDrive2/linux/FileDescriptor.h"

namespace libDrive2 {

namespace {

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

}  // namespace

std::string partitionIdOf(const SysfsBlock& partition, dev_t /*number*/) {
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
            return std::string("partuuid:") + uuid;
    }
    return {};
}

std::string memberUuidOf(dev_t member) {
    const ProbedDevice device(member);
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

}  // namespace libDrive2
