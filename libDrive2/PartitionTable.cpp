#include "libDrive2/PartitionTable.h"

#include <algorithm>
#include <string_view>

#include "libDrive2/commands/Bytes.h"

namespace libDrive2 {

namespace {

constexpr std::size_t kEntriesAt = 446;
constexpr std::size_t kEntryBytes = 16;
constexpr std::size_t kSignatureAt = 510;
constexpr int kPrimaryPartitions = 4;
constexpr int kMostLogical = 128;  ///< a chain may be damaged so that it never ends
constexpr std::uint8_t kProtective = 0xEE;
constexpr std::uint32_t kMostGptEntries = 1024;

struct MbrEntry {
    std::uint8_t type;
    std::uint32_t start;

    [[nodiscard]] bool isExtended() const { return type == 0x05 || type == 0x0F || type == 0x85; }
};

/// The entries of an MBR or of a link in the chain of logical partitions; none when it is no such sector.
std::vector<MbrEntry> entriesOf(Bytes sector) {
    std::vector<MbrEntry> entries;
    if (loadLittleEndian<std::uint16_t>(sector, kSignatureAt) != 0xAA55)
        return entries;
    for (int i = 0; i < kPrimaryPartitions; ++i) {
        const Bytes entry =
            slice(sector, kEntriesAt + static_cast<std::size_t>(i) * kEntryBytes, kEntryBytes);
        // The boot sector of a file system has program code there.
        if ((byteAt(entry, 0) & 0x7F) != 0)
            return {};
        entries.push_back({byteAt(entry, 4), loadLittleEndian<std::uint32_t>(entry, 8)});
    }
    return entries;
}

/// Reads both kinds of table; each step adds what it finds.
class TableReader {
public:
    explicit TableReader(const SectorSource& device) : m_device(device), m_sector(device.sectorBytes) {}

    PartitionTable readAll() {
        bool mayHaveGpt = true;
        if (readSector(0)) {
            const std::vector<MbrEntry> primary = entriesOf(m_sector);
            mayHaveGpt = std::any_of(primary.begin(), primary.end(),
                                     [](const MbrEntry& entry) { return entry.type == kProtective; });
            addPrimary(primary);
        } else {
            m_table.complete = false;
        }
        if (mayHaveGpt && m_device.sectors > 1)
            readGpt();
        return std::move(m_table);
    }

private:
    bool readSector(std::uint64_t lba) {
        return lba < m_device.sectors && m_device.read(lba, m_sector.data());
    }

    void add(int number, std::uint64_t lba) {
        if (lba > 0 && lba < m_device.sectors)
            m_table.partitions.push_back({number, lba * m_device.sectorBytes});
    }

    void addPrimary(const std::vector<MbrEntry>& primary) {
        for (std::size_t i = 0; i < primary.size(); ++i)
            if (primary[i].isExtended())
                addLogical(primary[i].start);
            else if (primary[i].type != 0 && primary[i].type != kProtective)
                add(static_cast<int>(i) + 1, primary[i].start);
    }

    /// Each link names a partition, counted from the link, and the next link, counted from the first.
    void addLogical(std::uint64_t first) {
        std::uint64_t link = first;
        for (int i = 0; i < kMostLogical && link < m_device.sectors; ++i) {
            if (!readSector(link)) {
                m_table.complete = false;
                return;
            }
            std::uint64_t next = 0;
            for (const MbrEntry& entry : entriesOf(m_sector))
                if (entry.isExtended())
                    next = first + entry.start;
                else if (entry.type != 0)
                    add(kPrimaryPartitions + 1 + i, link + entry.start);
            if (next == 0)
                return;
            link = next;
        }
    }

    /// Of a copy of the GPT.
    enum class Copy : std::uint8_t { whole, none, unreadable };

    /// The copy at the end serves where the one at the start does not.
    void readGpt() {
        const Copy first = readGptAt(1);
        const Copy second = first == Copy::whole ? first : readGptAt(m_device.sectors - 1);
        if (second != Copy::whole && (first == Copy::unreadable || second == Copy::unreadable))
            m_table.complete = false;
    }

    Copy readGptAt(std::uint64_t headerLba) {
        if (!readSector(headerLba))
            return Copy::unreadable;
        const Bytes header(m_sector);
        const std::string_view text(reinterpret_cast<const char*>(m_sector.data()), 8);
        const auto entryBytes = loadLittleEndian<std::uint32_t>(header, 84);
        const auto entries = loadLittleEndian<std::uint32_t>(header, 80);
        if (text != "EFI PART" || entryBytes < 128 || m_device.sectorBytes % entryBytes != 0 ||
            entries > kMostGptEntries)
            return Copy::none;
        return readGptEntries(loadLittleEndian<std::uint64_t>(header, 72), entries, entryBytes);
    }

    Copy readGptEntries(std::uint64_t lba, std::uint32_t entries, std::uint32_t entryBytes) {
        const std::uint32_t perSector = m_device.sectorBytes / entryBytes;
        const std::vector<PartitionStart> before = m_table.partitions;
        for (std::uint32_t i = 0; i < entries; ++i) {
            if (i % perSector == 0 && !readSector(lba + i / perSector)) {
                m_table.partitions = before;
                return Copy::unreadable;
            }
            const Bytes entry = slice(m_sector, std::size_t{i % perSector} * entryBytes, entryBytes);
            const Bytes type = slice(entry, 0, 16);
            if (std::any_of(type.begin(), type.end(), [](std::uint8_t byte) { return byte != 0; }))
                add(static_cast<int>(i) + 1, loadLittleEndian<std::uint64_t>(entry, 32));
        }
        return Copy::whole;
    }

    const SectorSource& m_device;
    std::vector<std::uint8_t> m_sector;
    PartitionTable m_table;
};

}  // namespace

PartitionTable readPartitionTable(const SectorSource& device) {
    return TableReader(device).readAll();
}

}  // namespace libDrive2
