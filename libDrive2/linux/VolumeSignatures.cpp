#include "libDrive2/linux/VolumeSignatures.h"

#include <blkid/blkid.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "libDrive2/linux/ErrnoError.h"
#include "zel/Format.h"
#include "zel/Uninterrupted.h"

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

/// The signature alone: of a damaged header libblkid would say that it is none, but the data behind it may
/// still be wanted.
Finding examineStart(int fd, blkid_loff_t offset, std::string& type) {
    std::array<char, 512> start{};
    if (zel::uninterrupted([&] { return pread(fd, start.data(), start.size(), offset); }) < 0) {
        type = errnoStatus(errno).text.utf8();
        return Finding::unreadable;
    }
    const std::string_view text(start.data(), start.size());
    const bool isLuks = text.starts_with("LUKS\xBA\xBE");
    if (!isLuks && text.substr(3, 8) != "-FVE-FS-")
        return Finding::clear;
    type = isLuks ? "crypto_LUKS" : "BitLocker";
    return Finding::encrypted;
}

Finding examine(int fd, blkid_loff_t offset, blkid_loff_t bytes, std::string& type) {
    if (const Finding found = examineStart(fd, offset, type); found != Finding::clear)
        return found;
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
        reason = where + " cannot be examined for encrypted volumes" + (type.empty() ? "" : ": " + type);
    return finding != Finding::clear;
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

    [[nodiscard]] bool readable() const { return m_probe != nullptr; }
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

bool holdsEncryptedVolume(int fd, const zel::String& path, zel::String& reason) {
    std::string type;
    if (report(examine(fd, 0, 0, type), path, type, reason))
        return true;
    const Partitions partitions(fd);
    if (!partitions.readable())
        return report(Finding::unreadable, path, type, reason);
    for (const Partitions::Partition& each : partitions.all())
        if (report(examine(fd, each.offset, each.bytes, type),
                   zel::format("partition %i of %s", each.number, path), type, reason))
            return true;
    return false;
}

zel::Array<VolumeContent> describeContents(int fd) {
    zel::Array<VolumeContent> found;
    const Partitions partitions(fd);
    if (const zel::String whole = describeVolume(fd, 0, 0); !whole.isEmpty())
        found.append({whole});
    if (partitions.table() != nullptr)
        found.append({zel::format("partition table %s", partitions.table())});
    for (const Partitions::Partition& each : partitions.all()) {
        const zel::String volume = describeVolume(fd, each.offset, each.bytes);
        found.append({zel::format("partition %i: %s", each.number,
                                  volume.isEmpty() ? zel::String("nothing that is recognised") : volume),
                      static_cast<std::uint64_t>(each.bytes)});
    }
    return found;
}

}  // namespace libDrive2
