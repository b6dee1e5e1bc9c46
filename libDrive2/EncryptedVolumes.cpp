#include "libDrive2/EncryptedVolumes.h"

#include <algorithm>
#include <string_view>

#include "zel/Format.h"
#include "zel/Words.h"

namespace libDrive2 {

using zel::worded;

namespace {

using std::string_view_literals::operator""sv;

struct Signature {
    std::size_t offset;
    std::string_view bytes;
    const char* type;
};
/// The signature alone: a damaged header is none any more, but the data behind it may still be wanted.
constexpr Signature kSignatures[] = {
    {0, "LUKS\xBA\xBE"sv, "crypto_LUKS"},
    {3, "-FVE-FS-"sv, "BitLocker"},
    // Of removable drives, which look like a FAT file system; as a GUID, its first fields little-endian.
    {424, "\x3B\xD6\x67\x49\x29\x2E\xD8\x4A\x83\x99\xF6\xA3\x39\xE3\xD0\x01"sv, "BitLocker"},
};

/// LUKS2 keeps a second header, at one of these places, with a signature of its own.
constexpr std::string_view kSecondHeader = "SKUL\xBA\xBE";
constexpr std::uint64_t kSmallestSecondHeaderAt = 0x4000;
constexpr std::uint64_t kLargestSecondHeaderAt = 0x400000;

zel::Wording unexamined(const zel::Wording& where, const zel::Wording& why) {
    return worded("{path} cannot be examined for encrypted volumes: {reason}",
                  {{"path", where}, {"reason", why}});
}

class Examination {
public:
    explicit Examination(const SectorSource& device) : m_device(device), m_sector(device.sectorBytes) {}

    /// Looks at one place; false when there is a signature, which reason() then tells of.
    bool isClear(std::uint64_t offset, const zel::Wording& where) {
        if (!readAt(offset))
            noteUnread(unexamined(
                where, worded("sector {lba} cannot be read", {{"lba", offset / m_device.sectorBytes}})));
        for (const Signature& signature : kSignatures)
            if (holds(signature.offset, signature.bytes))
                return found(where, signature.type);
        // Of these one is enough, and where there is none, they are sectors like any other.
        for (std::uint64_t at = kSmallestSecondHeaderAt; at <= kLargestSecondHeaderAt; at *= 2)
            if (readAt(offset + at) && holds(0, kSecondHeader))
                return found(where, kSignatures[0].type);
        return true;
    }
    void noteUnread(const zel::Wording& what) {
        if (m_found == Encryption::none)
            m_reason = what;
        m_found = Encryption::unexamined;
    }
    [[nodiscard]] Encryption result() const { return m_found; }
    [[nodiscard]] const zel::Wording& reason() const { return m_reason; }

private:
    /// What cannot be read holds nothing.
    bool readAt(std::uint64_t offset) {
        const std::uint64_t lba = offset / m_device.sectorBytes;
        const bool isBeyond = lba >= m_device.sectors;
        const bool isRead = !isBeyond && m_device.read(lba, m_sector.data());
        if (!isRead)
            std::fill(m_sector.begin(), m_sector.end(), std::uint8_t{0});
        return isRead || isBeyond;
    }
    [[nodiscard]] bool holds(std::size_t offset, std::string_view bytes) const {
        const std::string_view text(reinterpret_cast<const char*>(m_sector.data()), m_sector.size());
        return text.substr(std::min(offset, text.size()), bytes.size()) == bytes;
    }
    bool found(const zel::Wording& where, const char* type) {
        m_found = Encryption::found;
        m_reason = worded("{place} holds an encrypted volume ({type})", {{"place", where}, {"type", type}});
        return false;
    }

    const SectorSource& m_device;
    std::vector<std::uint8_t> m_sector;
    Encryption m_found = Encryption::none;
    zel::Wording m_reason;
};

}  // namespace

Encryption findEncryptedVolume(const SectorSource& device, const zel::String& path,
                               const std::vector<PartitionStart>& alsoKnown, zel::Wording& reason) {
    PartitionTable table = readPartitionTable(device);
    table.partitions.insert(table.partitions.end(), alsoKnown.begin(), alsoKnown.end());
    Examination examination(device);
    bool isClear = examination.isClear(0, path);
    for (auto each = table.partitions.begin(); isClear && each != table.partitions.end(); ++each)
        isClear = examination.isClear(
            each->offset, worded("partition {n} of {drive}", {{"n", each->number}, {"drive", path}}));
    if (isClear && !table.complete)
        examination.noteUnread(unexamined(path, worded("its partition table cannot be read")));
    reason = examination.reason();
    return examination.result();
}

}  // namespace libDrive2
