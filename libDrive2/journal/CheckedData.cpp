#include "libDrive2/journal/CheckedData.h"

#include <algorithm>
#include <cstring>
#include <numeric>

#include "libDrive2/journal/JournalLayout.h"
#include "libDrive2/journal/Mending.h"

// How damage is found and mended:
// - Does the root of what was read fit, all is well, whatever became of the table.
// - Else the table in the file tells which blocks differ. If the table fits the root, perhaps after one bit
//   of it was mended, it is right: a block that no single bit mends is lost, but only that.
// - If not, entries and blocks may both be wrong. A block that one bit makes fit its entry is mended by it;
// of
//   the others the block may be right and the entry wrong. The root tells whether all is well then; if it
//   does not, nothing can be trusted.

namespace libDrive2::journal {

namespace {

/// An entry is a block's checksum and its fold.
constexpr std::size_t kEntryWords = 2;
constexpr std::size_t kEntryBytes = kEntryWords * sizeof(std::uint64_t);
/// Where more blocks than that differ, it was not a bit that flipped.
constexpr std::size_t kMostMended = 64;

std::uint64_t sumOf(Bytes block) {
    return shortChecksumOf(block);
}

std::size_t blocksOf(std::uint64_t bytes) {
    return static_cast<std::size_t>(roundUp(bytes) / kBlockBytes);
}

std::vector<std::uint64_t> tableOf(Bytes data) {
    std::vector<std::uint64_t> table;
    table.reserve(blocksOf(data.size()) * kEntryWords);
    for (std::size_t from = 0; from < data.size(); from += kBlockBytes) {
        const Bytes block = slice(data, from, kBlockBytes);
        table.push_back(sumOf(block));
        table.push_back(foldOf(block));
    }
    return table;
}

std::vector<std::uint8_t> bytesOf(const std::vector<std::uint64_t>& table) {
    std::vector<std::uint8_t> bytes(table.size() * sizeof(std::uint64_t));
    for (std::size_t i = 0; i < table.size(); ++i)
        storeLittleEndian(bytes, i * sizeof(std::uint64_t), table[i]);
    return bytes;
}

Checksum rootOfTable(const std::vector<std::uint64_t>& table) {
    return checksumOf(bytesOf(table));
}

}  // namespace

std::uint64_t CheckedData::tableBytes(std::uint64_t dataBytes) {
    return roundUp(roundUp(dataBytes) / kBlockBytes * kEntryBytes);
}

Checksum CheckedData::sum(Bytes data, std::uint8_t* table) {
    const std::vector<std::uint8_t> bytes = bytesOf(tableOf(data));
    const std::span<std::uint8_t> room(table, static_cast<std::size_t>(tableBytes(data.size())));
    std::fill(std::copy(bytes.begin(), bytes.end(), room.begin()), room.end(), std::uint8_t{0});
    return checksumOf(bytes);
}

Checksum CheckedData::rootOf(Bytes data) {
    return rootOfTable(tableOf(data));
}

CheckedData::CheckedData(BlockHandle& file, const Place& place)
    : m_data(static_cast<std::size_t>(roundUp(place.bytes))), m_bytes(static_cast<std::size_t>(place.bytes)) {
    readData(file, place.dataAt);
    const Sums table = tableOf(bytes());
    for (std::size_t i = 0; i < table.size(); i += kEntryWords)
        m_sums.push_back(table[i]);
    if (rootOfTable(table) == place.root)
        return;
    if (!readTable(file, place.tableAt)) {
        loseAll();
        return;
    }
    for (std::size_t i = 0; i < table.size(); i += kEntryWords)
        if (table[i] != m_stored[i] || table[i + 1] != m_stored[i + 1])
            m_differing.push_back(i / kEntryWords);
    const bool isTableRight = mendTable(place.root);
    mendBlocks();
    if (isTableRight)
        return;
    m_lost.clear();
    if (rootOf(bytes()) != place.root)
        loseAll();
}

/// Block by block where the whole cannot be read.
void CheckedData::readData(BlockHandle& file, std::uint64_t offset) {
    if (file.read(offset, m_data.data(), m_data.size()).ok())
        return;
    m_isReadable = false;
    for (std::size_t at = 0; at < m_data.size(); at += kBlockBytes)
        if (!file.read(offset + at, m_data.data() + at, kBlockBytes).ok())
            std::memset(m_data.data() + at, 0, kBlockBytes);
}

bool CheckedData::readTable(BlockHandle& file, std::uint64_t offset) {
    zel::Buffer table(static_cast<std::size_t>(tableBytes(m_bytes)));
    if (!file.read(offset, table.data(), table.size()).ok()) {
        m_isReadable = false;
        return false;
    }
    m_stored.resize(m_sums.size() * kEntryWords);
    for (std::size_t i = 0; i < m_stored.size(); ++i)
        m_stored[i] =
            loadLittleEndian<std::uint64_t>({table.data(), table.size()}, i * sizeof(std::uint64_t));
    return true;
}

std::span<std::uint8_t> CheckedData::block(std::size_t index) {
    const std::size_t at = index * kBlockBytes;
    return {m_data.data() + at, std::min(kBlockBytes, m_bytes - at)};
}

/// Whether it fits the root now. A wrong entry is among those that differ.
bool CheckedData::mendTable(const Checksum& root) {
    if (rootOfTable(m_stored) == root)
        return true;
    if (m_differing.size() > kMostMended)
        return false;
    for (const std::size_t i : m_differing)
        for (unsigned bit = 0; bit < 8 * kEntryBytes; ++bit) {
            std::uint64_t& word = m_stored[i * kEntryWords + bit / 64];
            word ^= std::uint64_t{1} << bit % 64;
            if (rootOfTable(m_stored) == root)
                return true;
            word ^= std::uint64_t{1} << bit % 64;
        }
    return false;
}

void CheckedData::mendBlocks() {
    for (const std::size_t i : m_differing)
        if (m_sums[i] != m_stored[i * kEntryWords] && (m_differing.size() > kMostMended || !mendBlock(i)))
            m_lost.push_back(i);
}

bool CheckedData::mendBlock(std::size_t index) {
    const std::span<std::uint8_t> bytes = block(index);
    const std::uint64_t wanted = m_stored[index * kEntryWords];
    return mendFolded(bytes, m_stored[index * kEntryWords + 1], [&] { return sumOf(bytes) == wanted; });
}

void CheckedData::loseAll() {
    m_lost.resize(m_sums.size());
    std::iota(m_lost.begin(), m_lost.end(), std::size_t{0});
}

}  // namespace libDrive2::journal
