#include "libDrive2/linux/VolumeSignatures.h"

#include <blkid/blkid.h>

#include <memory>
#include <type_traits>

#include "zel/Format.h"
#include "zel/Words.h"

namespace libDrive2 {

namespace {

struct FreeProbe {
    void operator()(blkid_probe probe) const { blkid_free_probe(probe); }
};
using Probe = std::unique_ptr<std::remove_pointer_t<blkid_probe>, FreeProbe>;

constexpr blkid_loff_t kTableUnit = 512;  ///< libblkid counts partitions in these, whatever the sector size

Probe openProbe(int fd, blkid_loff_t offset, blkid_loff_t bytes) {
    Probe probe(blkid_new_probe());
    if (probe != nullptr && blkid_probe_set_device(probe.get(), fd, offset, bytes) != 0)
        probe.reset();
    return probe;
}

/// The partitions in the table that a probe of the whole device found.
class Partitions {
public:
    explicit Partitions(int fd) : m_probe(openProbe(fd, 0, 0)) {
        if (m_probe == nullptr)
            return;
        blkid_probe_enable_partitions(m_probe.get(), 1);
        m_list = blkid_probe_get_partitions(m_probe.get());
    }

    struct Partition {
        int number;
        blkid_loff_t offset, bytes;
    };

    /// The table's kind; null without one.
    [[nodiscard]] const char* table() const {
        const blkid_parttable found = m_list != nullptr ? blkid_partlist_get_table(m_list) : nullptr;
        return found != nullptr ? blkid_parttable_get_type(found) : nullptr;
    }
    /// All but those that only hold others.
    [[nodiscard]] std::vector<Partition> all() const {
        std::vector<Partition> found;
        for (int i = 0; m_list != nullptr && i < blkid_partlist_numof_partitions(m_list); ++i) {
            const blkid_partition each = blkid_partlist_get_partition(m_list, i);
            if (blkid_partition_is_extended(each) == 0)
                found.push_back({blkid_partition_get_partno(each),
                                 blkid_partition_get_start(each) * kTableUnit,
                                 blkid_partition_get_size(each) * kTableUnit});
        }
        return found;
    }

private:
    Probe m_probe;
    blkid_partlist m_list = nullptr;
};

/// "ext4 \"backup\""; empty when nothing is recognised.
zel::String describeVolume(int fd, blkid_loff_t offset, blkid_loff_t bytes) {
    const Probe probe = openProbe(fd, offset, bytes);
    if (probe == nullptr)
        return {};
    blkid_probe_enable_superblocks(probe.get(), 1);
    blkid_probe_set_superblocks_flags(probe.get(), BLKID_SUBLKS_TYPE | BLKID_SUBLKS_LABEL);
    const char* type = nullptr;
    const char* label = nullptr;
    if (blkid_do_probe(probe.get()) != 0 ||
        blkid_probe_lookup_value(probe.get(), "TYPE", &type, nullptr) != 0)
        return {};
    if (blkid_probe_lookup_value(probe.get(), "LABEL", &label, nullptr) != 0)
        return type;
    return zel::format("%s \"%s\"", type, label);
}

}  // namespace

std::vector<PartitionStart> listPartitions(int fd) {
    std::vector<PartitionStart> found;
    for (const Partitions::Partition& each : Partitions(fd).all())
        found.push_back({each.number, static_cast<std::uint64_t>(each.offset)});
    return found;
}

zel::Array<VolumeContent> describeContents(int fd) {
    zel::Array<VolumeContent> found;
    const Partitions partitions(fd);
    if (const zel::String whole = describeVolume(fd, 0, 0); !whole.isEmpty())
        found.append({whole});
    if (partitions.table() != nullptr)
        found.append({zel::words("partition table {type}", {{"type", partitions.table()}})});
    for (const Partitions::Partition& each : partitions.all()) {
        const zel::String volume = describeVolume(fd, each.offset, each.bytes);
        found.append({zel::words("partition {n}: {content}",
                                 {{"n", each.number},
                                  {"content", volume.isEmpty() ? zel::words("nothing that is recognised")
                                                               : volume.utf8()}}),
                      static_cast<std::uint64_t>(each.bytes)});
    }
    return found;
}

}  // namespace libDrive2
