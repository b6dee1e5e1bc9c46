#pragma once

#include "libDrive2/journal/SlotJudge.h"

namespace libDrive2 {

/// Reads a journal part by part.
class JournalReader {
public:
    explicit JournalReader(BlockHandle& file) : m_file(file) {}

    JournalContents read();

private:
    /// What a slot's header and note said.
    struct Found {
        journal::FoundMark header{}, note{};
    };

    bool readBytes(std::uint64_t offset, std::size_t bytes, zel::Buffer& buffer);
    bool readHeader();
    bool decodeHeader(const std::vector<zel::Buffer>& copies);
    void judgeBrokenHeader(const std::vector<zel::Buffer>& copies);
    [[nodiscard]] bool isFirstSlotBlank();
    Found readMarks(std::uint64_t slotOffset);
    void readSlot(std::uint32_t index, const Found& found, std::uint64_t newest);
    [[nodiscard]] bool isPlausible(const journal::SlotHeader& header) const;
    void readData(JournalSlot slot, const journal::SlotHeader& header, bool mayBeCutOff);
    [[nodiscard]] bool findSpans(JournalSlot& slot, const journal::SlotHeader& header,
                                 const journal::CheckedData& data) const;
    void noteLost(JournalSlot& slot, const std::vector<std::size_t>& blocks, std::uint32_t tableSpans) const;
    static void noteLost(JournalSlot& slot, std::uint64_t from, std::uint64_t end);
    bool readExpected();
    void reject(JournalState state, const char* problem);

    BlockHandle& m_file;
    JournalContents m_contents;
};

}  // namespace libDrive2
