#include "libDrive2/journal/JournalReader.h"

#include <algorithm>

// Which slots were protected: those with an open header whose data fits its checksum. Other data under an
// open header is either of a write that was cut off, or lost by the journal's own medium. Slots are filled
// one after the other, each durable before the next one, so a write that was cut off is always the newest:
// then nothing has been overwritten, and nothing is to be done. Any other one was durable once, and has been
// damaged since; so has the newest one when its note says so. Without the note, damage to the newest slot
// cannot be told from a write that was cut off. A header that
// fits no checksum, or none at all, is of a write that was cut off too: to the first header before anything
// was overwritten, to a later one after everything had been put back. What cannot be read counts as damaged,
// as nothing is known of it.

namespace libDrive2 {

using journal::kBlockBytes;
using journal::SlotMark;

JournalContents readJournal(BlockHandle& file) {
    return JournalReader(file).read();
}

void JournalReader::reject(JournalState state, const char* problem) {
    m_contents.state = state;
    m_contents.problem = problem;
}

/// False too where the file ends before.
bool JournalReader::readBlock(std::uint64_t offset) {
    const std::uint64_t size = m_file.info().bytes;
    return offset <= size && size - offset >= kBlockBytes &&
           m_file.read(offset, m_block.data(), kBlockBytes).ok();
}

JournalContents JournalReader::read() {
    if (!readHeader())
        return std::move(m_contents);
    m_contents.state = JournalState::valid;
    Found found[journal::kSlots];
    std::uint64_t newest = 0;
    for (std::uint32_t i = 0; i < journal::kSlots; ++i) {
        found[i] = readSlotHeader(journal::slotOffset(m_contents.header.slotBytes, i));
        newest = std::max(newest, found[i].header.value_or(journal::SlotHeader{}).sequence);
    }
    for (std::uint32_t i = 0; i < journal::kSlots; ++i)
        readSlot(i, found[i], newest);
    const auto isOlder = [](const JournalSlot& a, const JournalSlot& b) { return a.sequence < b.sequence; };
    std::sort(m_contents.open.begin(), m_contents.open.end(), isOlder);
    std::sort(m_contents.damaged.begin(), m_contents.damaged.end(), isOlder);
    m_contents.expectedDamaged = !readExpected();
    return std::move(m_contents);
}

bool JournalReader::readHeader() {
    if (m_file.info().bytes < kBlockBytes) {
        reject(m_file.info().bytes == 0 ? JournalState::unused : JournalState::truncated,
               "the file is shorter than a journal's header");
        return false;
    }
    if (const DeviceStatus status = m_file.read(0, m_block.data(), kBlockBytes); !status.ok()) {
        m_contents.problem = "the file cannot be read: " + status.text;
        return false;
    }
    const auto header = journal::decodeFile(block());
    if (!header) {
        judgeBrokenHeader();
        return false;
    }
    m_contents.header = *header;
    if (m_file.info().bytes >= UndoJournal::fileBytes(header->slotBytes, 0))
        return true;
    reject(JournalState::truncated, "the file is shorter than its header says");
    return false;
}

/// The header is the first thing written to the zeros of the file, and durable before the rest.
void JournalReader::judgeBrokenHeader() {
    const bool isBlank = journal::isBlank(block());
    const bool hasMagic = journal::hasFileMagic(block());
    const std::uint32_t version = journal::versionOf(block());
    if (!isBlank && !hasMagic)
        reject(JournalState::notAJournal, "the file is no journal, or its beginning is damaged");
    else if (hasMagic && version != journal::kVersion && version != 0)
        reject(JournalState::otherVersion,
               "the journal was written by another version of the program: use that one");
    else if (readBlock(kBlockBytes) && journal::isBlank(block()))
        reject(JournalState::unused, "the run ended before it protected anything: nothing was overwritten");
    else
        reject(JournalState::damaged, "the journal's header is damaged: it does not fit its checksum");
}

JournalReader::Found JournalReader::readSlotHeader(std::uint64_t offset) {
    Found found;
    found.isReadable = readBlock(offset);
    if (found.isReadable)
        found.header = journal::decodeSlot(block());
    if (found.header && found.header->session != m_contents.header.session)
        found.header.reset();
    return found;
}

void JournalReader::readSlot(std::uint32_t index, const Found& found, std::uint64_t newest) {
    JournalSlot slot;
    slot.index = index;
    if (!found.isReadable) {
        m_contents.damaged.push_back(std::move(slot));
        return;
    }
    if (!found.header || found.header->mark != SlotMark::open)
        return;
    slot.sequence = found.header->sequence;
    slot.lba = found.header->lba;
    slot.count = found.header->count;
    // Of this filling of the slot, or of an earlier one.
    const Found note =
        readSlotHeader(journal::slotOffset(m_contents.header.slotBytes, index) + journal::kNoteAt);
    const bool wasDurable = note.header && note.header->sequence == slot.sequence;
    slot.wasRestoring = wasDurable && note.header->mark == SlotMark::restoring;
    bool isReadable = true;
    if (readData(journal::slotOffset(m_contents.header.slotBytes, index) + journal::kDataAt, *found.header,
                 slot, isReadable)) {
        m_contents.open.push_back(std::move(slot));
    } else if (!isReadable || wasDurable || slot.sequence != newest) {
        slot.data = {};
        m_contents.damaged.push_back(std::move(slot));
    }
}

bool JournalReader::readData(std::uint64_t offset, const journal::SlotHeader& header, JournalSlot& slot,
                             bool& isReadable) {
    const DriveIdentity& drive = m_contents.header.drive;
    if (header.count == 0 || header.dataBytes != std::uint64_t{header.count} * drive.sectorBytes ||
        header.dataBytes > m_contents.header.slotBytes || header.lba > drive.sectors ||
        header.count > drive.sectors - header.lba)
        return false;
    const auto bytes = static_cast<std::size_t>(header.dataBytes);
    slot.data = zel::Buffer(static_cast<std::size_t>(journal::roundUp(bytes)));
    isReadable = m_file.read(offset, slot.data.data(), slot.data.size()).ok();
    return isReadable && checksumOf({slot.data.data(), bytes}) == header.data;
}

bool JournalReader::readExpected() {
    const std::uint64_t offset = journal::expectedOffset(m_contents.header.slotBytes);
    if (!readBlock(offset))
        return false;
    if (journal::isBlank(block()))
        return true;
    const auto header = journal::decodeExpected(block());
    const std::uint64_t room = m_file.info().bytes - offset - kBlockBytes;
    if (!header || header->session != m_contents.header.session || header->bytes > room ||
        journal::roundUp(header->bytes) > room || header->bytes % m_contents.header.drive.sectorBytes != 0)
        return false;
    zel::Buffer contents(static_cast<std::size_t>(journal::roundUp(header->bytes)));
    if (!m_file.read(offset + kBlockBytes, contents.data(), contents.size()).ok())
        return false;
    const Bytes expected{contents.data(), static_cast<std::size_t>(header->bytes)};
    if (checksumOf(expected) != header->data)
        return false;
    m_contents.expected.assign(expected.begin(), expected.end());
    return true;
}

}  // namespace libDrive2
