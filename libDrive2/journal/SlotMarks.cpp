#include "libDrive2/journal/SlotMarks.h"

#include "libDrive2/journal/JournalLayout.h"
#include "zel/Words.h"

namespace libDrive2 {

namespace {

DeviceStatus writeDurably(BlockHandle& file, std::uint64_t offset, const zel::Buffer& blocks) {
    DeviceStatus status = file.write(offset, blocks.data(), blocks.size());
    return status.ok() ? file.flush() : status;
}

DeviceStatus writeMarked(BlockHandle& file, std::uint64_t offset, journal::SlotHeader header,
                         journal::SlotMark mark) {
    zel::Buffer block(journal::kBlockBytes);
    header.mark = mark;
    encode(header, journal::Block(block.data(), journal::kBlockBytes));
    return writeDurably(file, offset, block);
}

/// The slot's header as the file has it, from the note where it is damaged. All of it stays but the mark, as
/// the other slot is judged by its sequence.
DeviceStatus findSlot(BlockHandle& file, std::uint64_t slotOffset, const JournalContents& journal,
                      const JournalSlot& slot, journal::SlotHeader& header) {
    for (const std::uint64_t at : {journal::kSlotHeaderAt, journal::kNoteAt}) {
        zel::Buffer block(journal::kBlockBytes);
        if (!file.read(slotOffset + at, block.data(), block.size()).ok())
            continue;
        const auto found = journal::decodeSlot({block.data(), block.size()});
        if (!found || found->sequence != slot.sequence || found->session != journal.header.session)
            continue;
        header = *found;
        // Before the only one that is left is written over.
        return at == journal::kSlotHeaderAt
                   ? DeviceStatus{}
                   : writeMarked(file, slotOffset + journal::kSlotHeaderAt, header, journal::SlotMark::open);
    }
    return {LIBDRIVE2_NO_ACCESS, zel::worded("it cannot be read, or was changed meanwhile")};
}

}  // namespace

DeviceStatus closeSlot(BlockHandle& file, const JournalContents& journal, const JournalSlot& slot) {
    const std::uint64_t offset = journal::slotOffset(journal.header.slotBytes, slot.index);
    journal::SlotHeader header;
    if (DeviceStatus status = findSlot(file, offset, journal, slot, header); !status.ok())
        return status;
    zel::Buffer marks(2 * journal::kBlockBytes);
    encodeDone(header, marks);
    return writeDurably(file, offset + journal::kNoteAt, marks);
}

DeviceStatus noteRestoring(BlockHandle& file, const JournalContents& journal, const JournalSlot& slot) {
    const std::uint64_t offset = journal::slotOffset(journal.header.slotBytes, slot.index);
    journal::SlotHeader header;
    if (DeviceStatus status = findSlot(file, offset, journal, slot, header); !status.ok())
        return status;
    return writeMarked(file, offset + journal::kNoteAt, header, journal::SlotMark::restoring);
}

}  // namespace libDrive2
