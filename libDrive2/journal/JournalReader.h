#pragma once

#include "libDrive2/journal/JournalLayout.h"

namespace libDrive2 {

/// Reads a journal part by part.
class JournalReader {
public:
    explicit JournalReader(BlockHandle& file) : m_file(file), m_block(journal::kBlockBytes) {}

    JournalContents read();

private:
    /// What a slot's header said.
    struct Found {
        bool isReadable = false;
        std::optional<journal::SlotHeader> header{};  ///< of this run
    };

    bool readBlock(std::uint64_t offset);
    [[nodiscard]] Bytes block() const { return {m_block.data(), m_block.size()}; }
    bool readHeader();
    void judgeBrokenHeader();
    Found readSlotHeader(std::uint64_t offset);
    void readSlot(std::uint32_t index, const Found& found, std::uint64_t newest);
    bool readData(std::uint64_t offset, const journal::SlotHeader& header, JournalSlot& slot,
                  bool& isReadable);
    bool readExpected();
    void reject(JournalState state, const char* problem);

    BlockHandle& m_file;
    zel::Buffer m_block;
    JournalContents m_contents;
};

}  // namespace libDrive2
