#pragma once

#include <unordered_set>

#include "libDrive2/UndoJournal.h"
#include "libDrive2/journal/JournalLayout.h"

namespace libDrive2 {

class FileUndoJournal : public UndoJournal {
public:
    FileUndoJournal(SharedBlockHandle file, JournalHeader header, bool verifyRestores);

    /// Writes both copies of the file's header, durably.
    bool begin();

    bool expectWrites(const void* data, std::size_t bytes) override;
    bool protect(std::uint64_t lba, std::uint32_t count, const void* data, std::size_t bytes) override;
    bool protectScattered(std::span<const SectorSpan> spans, const void* data, std::size_t bytes) override;
    [[nodiscard]] bool verifiesRestores() const override { return m_verifyRestores; }
    bool holdsOriginal(std::uint64_t lba, std::uint32_t count, const void* data, std::size_t bytes) override;
    bool readOriginal(std::uint64_t lba, std::uint32_t count, void* data, std::size_t bytes) override;
    bool release(std::uint64_t lba, std::uint32_t count) override;
    [[nodiscard]] zel::Wording lastErrorStr() const override { return m_error; }
    [[nodiscard]] bool hasOpenSlots() const override;
    bool close() override;

private:
    struct Slot {
        journal::SlotHeader header{};
        std::vector<SectorSpan> spans{};  ///< rising; a range is one
        bool isOpen = false;
        bool isDurable = true;  ///< what the marks in the file say will survive a crash
        bool isSpoilt = false;  ///< a filling failed: nobody knows what of it is in the file
    };
    struct HashOfChecksum {
        std::size_t operator()(const Checksum& sum) const { return static_cast<std::size_t>(sum.low); }
    };

    bool fail(zel::Wording text);
    bool take(const DeviceStatus& status, const char* what);
    bool mayProtect(std::span<const SectorSpan> spans, std::size_t bytes, std::size_t tableBytes);
    bool store(std::vector<SectorSpan> spans, std::uint32_t tableSpans, Bytes data);
    bool chooseSlot(std::uint32_t& index);
    bool clear(std::uint32_t index);
    [[nodiscard]] std::uint64_t offsetOf(std::uint32_t index) const;
    bool fill(std::uint32_t index, Bytes data);
    bool writeMark(std::uint32_t index, std::uint64_t at, journal::SlotMark mark);
    bool writeDone(std::uint32_t index);
    bool writePadded(std::uint64_t offset, Bytes data);
    bool writeExpected(std::size_t knownBytes);
    bool flush();
    Slot* findOpen(std::uint64_t lba, std::uint32_t count);

    SharedBlockHandle m_file;
    JournalHeader m_header;
    bool m_verifyRestores;
    bool m_isClosed = false;
    Slot m_slots[journal::kSlots];
    std::uint32_t m_next = 0;  ///< the slot whose turn it is
    std::uint64_t m_sequence = 0;
    std::vector<std::uint8_t> m_expected;
    bool m_isExpectedWritten = true;
    std::unordered_set<Checksum, HashOfChecksum> m_isExpected;
    zel::Buffer m_block;
    zel::Buffer m_marks;    ///< a slot's note and header
    zel::Buffer m_filling;  ///< a slot's header and table
    zel::Wording m_error;
};

}  // namespace libDrive2
