#pragma once

#include <span>
#include <vector>

#include "libDrive2/BlockHandle.h"
#include "libDrive2/journal/Checksum.h"
#include "zel/Buffer.h"

namespace libDrive2::journal {

/// Data with a checksum of each of its blocks in a table, and the checksum of that table, the root. One pass
/// over the data makes them; with them a flipped bit is mended, and what else is lost is known to the block.
class CheckedData {
public:
    /// Bytes of the table in the file, whole blocks.
    static std::uint64_t tableBytes(std::uint64_t dataBytes);
    /// Fills in the table, which has room for tableBytes(), and returns the root.
    static Checksum sum(Bytes data, std::uint8_t* table);
    static Checksum rootOf(Bytes data);

    /// Where in a file data lies, and what it was.
    struct Place {
        std::uint64_t dataAt = 0, tableAt = 0;
        std::uint64_t bytes = 0;
        Checksum root{};
    };
    /// Reads and mends. The table is read only when it is needed.
    CheckedData(BlockHandle& file, const Place& place);

    [[nodiscard]] bool isWhole() const { return m_lost.empty(); }
    /// Numbers of the blocks whose contents are not known, in rising order.
    [[nodiscard]] const std::vector<std::size_t>& lost() const { return m_lost; }
    /// Whether nothing of it is known.
    [[nodiscard]] bool isLost() const { return m_lost.size() == m_sums.size(); }
    [[nodiscard]] bool wasReadable() const { return m_isReadable; }
    [[nodiscard]] Bytes bytes() const { return {m_data.data(), m_bytes}; }
    /// The data, padded to whole blocks.
    zel::Buffer takeBuffer() { return std::move(m_data); }

private:
    using Sums = std::vector<std::uint64_t>;

    void readData(BlockHandle& file, std::uint64_t offset);
    bool readTable(BlockHandle& file, std::uint64_t offset);
    [[nodiscard]] std::span<std::uint8_t> block(std::size_t index);
    bool mendTable(const Checksum& root);
    void mendBlocks();
    bool mendBlock(std::size_t index);
    void loseAll();

    zel::Buffer m_data;
    std::size_t m_bytes;
    Sums m_sums;    ///< of the blocks as they were read
    Sums m_stored;  ///< as the file has them
    std::vector<std::size_t> m_differing;
    std::vector<std::size_t> m_lost;
    bool m_isReadable = true;
};

}  // namespace libDrive2::journal
