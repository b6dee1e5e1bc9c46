#include "libDrive2/journal/SlotMarks.h"

#include "libDrive2/journal/JournalLayout.h"

namespace libDrive2 {

namespace {

/// Writes the slot's header with another mark. All else in it stays, as the other slot is judged by its
/// sequence.
DeviceStatus writeMarked(BlockHandle& file, std::uint64_t slotOffset, std::uint64_t sequence,
                         journal::SlotMark mark, std::uint64_t to) {
    zel::Buffer block(journal::kBlockBytes);
    if (DeviceStatus status = file.read(slotOffset, block.data(), block.size()); !status.ok())
        return status;
    auto header = journal::decodeSlot({block.data(), block.size()});
    if (!header || header->sequence != sequence)
        return {LIBDRIVE2_NO_ACCESS, "it was changed meanwhile"};
    header->mark = mark;
    encode(*header, journal::Block(block.data(), journal::kBlockBytes));
    DeviceStatus status = file.write(to, block.data(), block.size());
    return status.ok() ? file.flush() : status;
}

}  // namespace

DeviceStatus closeSlot(BlockHandle& file, const JournalContents& journal, const JournalSlot& slot) {
    const std::uint64_t offset = journal::slotOffset(journal.header.slotBytes, slot.index);
    return writeMarked(file, offset, slot.sequence, journal::SlotMark::done, offset);
}

DeviceStatus noteRestoring(BlockHandle& file, const JournalContents& journal, const JournalSlot& slot) {
    const std::uint64_t offset = journal::slotOffset(journal.header.slotBytes, slot.index);
    return writeMarked(file, offset, slot.sequence, journal::SlotMark::restoring, offset + journal::kNoteAt);
}

}  // namespace libDrive2
