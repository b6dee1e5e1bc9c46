#include "libDrive2/linux/VolumeSignatures.h"

#include <blkid/blkid.h>

#include <memory>
#include <string>
#include <string_view>

#include "zel/Format.h"

namespace libDrive2 {

namespace {

struct FreeProbe {
    void operator()(blkid_probe probe) const { blkid_free_probe(probe); }
};
using Probe = std::unique_ptr<std::remove_pointer_t<blkid_probe>, FreeProbe>;

constexpr blkid_loff_t kTableUnit = 512;  ///< libblkid counts partitions in these, whatever the sector size

enum class Finding { clear, encrypted, unreadable };

Probe openProbe(int fd, blkid_loff_t offset, blkid_loff_t bytes) {
    Probe probe(blkid_new_probe());
    if (probe != nullptr && blkid_probe_set_device(probe.get(), fd, offset, bytes) != 0)
        probe.reset();
    return probe;
}

Finding examine(int fd, blkid_loff_t offset, blkid_loff_t bytes, std::string& type) {
    const Probe probe = openProbe(fd, offset, bytes);
    if (probe == nullptr)
        return Finding::unreadable;
    blkid_probe_enable_superblocks(probe.get(), 1);
    blkid_probe_set_superblocks_flags(probe.get(), BLKID_SUBLKS_TYPE);
    int found = 0;
    while ((found = blkid_do_probe(probe.get())) == 0) {
        const char* value = nullptr;
        if (blkid_probe_lookup_value(probe.get(), "TYPE", &value, nullptr) != 0)
            continue;
        type = value;
        if (type == "crypto_LUKS" || type == "BitLocker")
            return Finding::encrypted;
    }
    return found < 0 ? Finding::unreadable : Finding::clear;
}

bool report(Finding finding, const zel::String& where, const std::string& type, zel::String& reason) {
    if (finding == Finding::encrypted)
        reason = where + " holds an encrypted volume (" + type + ")";
    else if (finding == Finding::unreadable)
        reason = where + " cannot be examined for encrypted volumes";
    return finding != Finding::clear;
}

}  // namespace

bool holdsEncryptedVolume(int fd, const zel::String& path, zel::String& reason) {
    std::string type;
    if (report(examine(fd, 0, 0, type), path, type, reason))
        return true;
    const Probe probe = openProbe(fd, 0, 0);
    if (probe == nullptr)
        return report(Finding::unreadable, path, type, reason);
    blkid_probe_enable_partitions(probe.get(), 1);
    const blkid_partlist list = blkid_probe_get_partitions(probe.get());
    for (int i = 0; list != nullptr && i < blkid_partlist_numof_partitions(list); ++i) {
        const blkid_partition partition = blkid_partlist_get_partition(list, i);
        if (blkid_partition_is_extended(partition) != 0)
            continue;
        const zel::String where =
            zel::format("partition %i of %s", blkid_partition_get_partno(partition), path);
        if (report(examine(fd, blkid_partition_get_start(partition) * kTableUnit,
                           blkid_partition_get_size(partition) * kTableUnit, type),
                   where, type, reason))
            return true;
    }
    return false;
}

}  // namespace libDrive2
