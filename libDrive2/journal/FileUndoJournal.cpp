#include "libDrive2/journal/FileUndoJournal.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <random>

#include "libDrive2/journal/FileHeader.h"
#include "libDrive2/journal/SpanTable.h"
#include "zel/Format.h"
#include "zel/Words.h"

// Why a crash at any instant loses nothing:
// - The file's header stands in it twice, durably, before anything else is written.
// - A slot's data, its table and its header reach the medium in any order, wholly or in part, before one
//   flush. Until all are there, the header is as it was, or recognisably cut off, or the checksums do not
//   fit; protect() has not returned then, so nothing has been overwritten. After the flush the slot is open
//   in the file until its range is released.
// - Then the note says that the slot was durable: from now on ill-fitting data has been lost by the journal's
//   medium. Should the note be lost in a power cut itself, nothing but that knowledge is lost. It has all
//   fields of the header, and stands in for it when that is damaged.
// - A released range holds its original data durably. Header and note are marked in one write, which is not
//   flushed: as long as the old ones are found instead, or one of them, or one that was cut off in between,
//   the slot looks open with its data intact, and recovery finds every sector as it should be.
// - A slot is not filled again before both marks are durable: an open header over other data would look like
//   data that the journal's medium has lost. Where slots alternate, the flush of the other one has seen to
//   that.
// - When filling a slot fails, nobody knows what of it is in the file. It is marked done before it is filled
//   again, first the header, then the note, each durably, so that what stands behind a cut always is known.
//   The same slot is the next one, so that only of the newest slot ill-fitting data is a matter of course.

namespace libDrive2 {

using journal::Block;
using journal::CheckedData;
using journal::kBlockBytes;
using journal::SlotMark;

namespace {

journal::Session randomSession() {
    std::random_device random;
    journal::Session session{};
    for (std::uint8_t& byte : session)
        byte = static_cast<std::uint8_t>(random());
    return session;
}

std::uint64_t unixMicros() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

Bytes asBytes(const void* data, std::size_t bytes) {
    return {static_cast<const std::uint8_t*>(data), bytes};
}

}  // namespace

std::uint64_t UndoJournal::fileBytes(std::uint64_t slotBytes, std::uint64_t expectedBytes) {
    return journal::expectedOffset(slotBytes) + journal::expectedAreaBytes(expectedBytes);
}

std::unique_ptr<UndoJournal> UndoJournal::create(SharedBlockHandle file, const JournalSettings& settings,
                                                 zel::String& reason) {
    if (settings.drive.sectorBytes == 0 || settings.slotBytes < settings.drive.sectorBytes ||
        settings.slotBytes > journal::kMostSlotBytes) {
        reason = zel::format("a journal cannot have slots of %u bytes for sectors of %u bytes",
                             settings.slotBytes, settings.drive.sectorBytes);
        return nullptr;
    }
    if (const std::uint64_t needed = fileBytes(settings.slotBytes, 0); file->info().bytes < needed) {
        reason = zel::format("the journal's file has %u bytes, but needs %u", file->info().bytes, needed);
        return nullptr;
    }
    auto created = std::make_unique<FileUndoJournal>(
        std::move(file),
        JournalHeader{randomSession(), settings.drive, settings.locator, unixMicros(), settings.slotBytes,
                      settings.fingerprint},
        settings.verifyRestores);
    if (created->begin())
        return created;
    reason = created->lastErrorStr().shown();
    return nullptr;
}

FileUndoJournal::FileUndoJournal(SharedBlockHandle file, JournalHeader header, bool verifyRestores)
    : m_file(std::move(file)),
      m_header(std::move(header)),
      m_verifyRestores(verifyRestores),
      m_block(kBlockBytes),
      m_marks(2 * kBlockBytes),
      m_filling(kBlockBytes + static_cast<std::size_t>(CheckedData::tableBytes(m_header.slotBytes))) {}

bool FileUndoJournal::begin() {
    zel::Buffer copies(journal::kFileHeaders * journal::kFileHeaderBytes);
    for (std::uint32_t i = 0; i < journal::kFileHeaders; ++i)
        if (!journal::encode(m_header, journal::FileHeaderBytes(copies.data() + i * journal::kFileHeaderBytes,
                                                                journal::kFileHeaderBytes)))
            return fail(zel::worded("what identifies the drive is too long for the journal"));
    return take(m_file->write(0, copies.data(), copies.size()),
                zel::marked("its header could not be written")) &&
           flush();
}

bool FileUndoJournal::fail(zel::Wording text) {
    m_error = std::move(text);
    return false;
}

bool FileUndoJournal::take(const DeviceStatus& status, const char* what) {
    return status.ok() || fail(zel::worded("{problem}: {reason}",
                                           {{"problem", zel::worded(what)}, {"reason", status.text}}));
}

bool FileUndoJournal::flush() {
    if (!take(m_file->flush(), zel::marked("it could not be made durable")))
        return false;
    for (Slot& slot : m_slots)
        slot.isDurable = true;
    return true;
}

/// Whole blocks directly from the caller's buffer; only the rest is copied.
bool FileUndoJournal::writePadded(std::uint64_t offset, Bytes data) {
    const std::size_t whole = data.size() / kBlockBytes * kBlockBytes;
    if (whole > 0 && !take(m_file->write(offset, data.data(), whole), zel::marked("it could not be written")))
        return false;
    if (whole == data.size())
        return true;
    std::memset(m_block.data(), 0, kBlockBytes);
    std::memcpy(m_block.data(), data.data() + whole, data.size() - whole);
    return take(m_file->write(offset + whole, m_block.data(), kBlockBytes),
                zel::marked("it could not be written"));
}

bool FileUndoJournal::expectWrites(const void* data, std::size_t bytes) {
    const std::size_t sectorBytes = m_header.drive.sectorBytes;
    if (m_isClosed || hasOpenSlots())
        return fail("patterns cannot be added while sectors are protected or the journal is closed");
    if (bytes % sectorBytes != 0)
        return fail(zel::format("%u bytes of patterns are not whole sectors", bytes));
    const std::size_t known = m_expected.size();
    const auto* before = static_cast<const std::uint8_t*>(nullptr);
    for (const auto* sector = static_cast<const std::uint8_t*>(data); bytes > 0;
         before = sector, sector += sectorBytes, bytes -= sectorBytes)
        if ((before == nullptr || std::memcmp(before, sector, sectorBytes) != 0) &&
            m_isExpected.insert(checksumOf({sector, sectorBytes})).second)
            m_expected.insert(m_expected.end(), sector, sector + sectorBytes);
    if (m_expected.size() == known && m_isExpectedWritten)
        return true;
    // After a failure nobody knows what of the list is in the file.
    if (writeExpected(m_isExpectedWritten ? known : 0) && flush()) {
        m_isExpectedWritten = true;
        return true;
    }
    for (std::size_t at = known; at < m_expected.size(); at += sectorBytes)
        m_isExpected.erase(checksumOf({m_expected.data() + at, sectorBytes}));
    m_expected.resize(known);
    return false;
}

bool FileUndoJournal::writeExpected(std::size_t knownBytes) {
    const std::uint64_t offset = journal::expectedOffset(m_header.slotBytes);
    const std::uint64_t room = m_file->info().bytes - offset;
    if (journal::expectedAreaBytes(m_expected.size()) > room)
        return fail(zel::format("its file has room for %u bytes of patterns, but the test writes %u",
                                room - kBlockBytes - CheckedData::tableBytes(room - kBlockBytes),
                                m_expected.size()));
    m_isExpectedWritten = false;
    const std::size_t from = knownBytes / kBlockBytes * kBlockBytes;
    if (!writePadded(offset + kBlockBytes + from, Bytes(m_expected).subspan(from)))
        return false;
    zel::Buffer table(static_cast<std::size_t>(CheckedData::tableBytes(m_expected.size())));
    const Checksum root = CheckedData::sum(m_expected, table.data());
    if (!take(m_file->write(offset + kBlockBytes + journal::roundUp(m_expected.size()), table.data(),
                            table.size()),
              zel::marked("it could not be written")))
        return false;
    encode(journal::ExpectedHeader{m_header.session, m_expected.size(), root},
           Block(m_block.data(), kBlockBytes));
    return take(m_file->write(offset, m_block.data(), kBlockBytes), zel::marked("it could not be written"));
}

bool FileUndoJournal::mayProtect(std::span<const SectorSpan> spans, std::size_t bytes,
                                 std::size_t tableBytes) {
    if (m_isClosed)
        return fail("it is closed");
    if (!m_isExpectedWritten)
        return fail(zel::worded("the patterns of the test could not be written to it"));
    const std::uint64_t count = journal::sectorsOf(spans);
    if (count == 0 || !journal::areRising(spans) || bytes != count * m_header.drive.sectorBytes)
        return fail(zel::format("%u bytes are not the data of %u sectors", bytes, count));
    if (tableBytes + bytes > m_header.slotBytes)
        return fail(
            zel::format("it takes up to %u bytes at once, not %u", m_header.slotBytes, tableBytes + bytes));
    // Of sectors that are protected already, the first data is the original; this would be no more than a
    // copy of what a test left there.
    for (const Slot& slot : m_slots)
        if (slot.isOpen && journal::doOverlap(slot.spans, spans))
            return fail(zel::worded(
                "sectors {first} through {last} are still in it, because they could not be put back",
                {{"first", slot.header.lba}, {"last", slot.spans.back().lba + slot.spans.back().count - 1}}));
    return true;
}

bool FileUndoJournal::chooseSlot(std::uint32_t& index) {
    index = m_slots[m_next].isOpen ? 1 - m_next : m_next;
    if (m_slots[index].isOpen)
        return fail(
            zel::worded("it is full: the data of two chunks is in it, because they could not be put back"));
    return m_slots[index].isSpoilt ? clear(index) : m_slots[index].isDurable || flush();
}

/// After a filling that failed.
bool FileUndoJournal::clear(std::uint32_t index) {
    const bool isCleared = writeMark(index, journal::kSlotHeaderAt, SlotMark::done) && flush() &&
                           writeMark(index, journal::kNoteAt, SlotMark::done) && flush();
    m_slots[index].isSpoilt = !isCleared;
    return isCleared;
}

bool FileUndoJournal::protect(std::uint64_t lba, std::uint32_t count, const void* data, std::size_t bytes) {
    const SectorSpan range{lba, count};
    return mayProtect({&range, 1}, bytes, 0) && store({range}, 0, asBytes(data, bytes));
}

bool FileUndoJournal::protectScattered(std::span<const SectorSpan> spans, const void* data,
                                       std::size_t bytes) {
    const auto tableBytes = static_cast<std::size_t>(journal::spanTableBytes(spans.size()));
    if (!mayProtect(spans, bytes, tableBytes))
        return false;
    zel::Buffer joined(tableBytes + bytes);
    journal::encodeSpans(spans, {joined.data(), tableBytes});
    std::memcpy(joined.data() + tableBytes, data, bytes);
    return store({spans.begin(), spans.end()}, static_cast<std::uint32_t>(spans.size()),
                 {joined.data(), joined.size()});
}

/// `data` as the slot holds it.
bool FileUndoJournal::store(std::vector<SectorSpan> spans, std::uint32_t tableSpans, Bytes data) {
    std::uint32_t index = 0;
    if (!chooseSlot(index))
        return false;
    Slot& slot = m_slots[index];
    slot.header = {m_header.session,
                   ++m_sequence,
                   spans.front().lba,
                   static_cast<std::uint32_t>(journal::sectorsOf(spans)),
                   SlotMark::open,
                   data.size(),
                   {},
                   tableSpans};
    slot.spans = std::move(spans);
    slot.isOpen = fill(index, data) && flush() && writeMark(index, journal::kNoteAt, SlotMark::durable);
    slot.isSpoilt = !slot.isOpen;
    m_next = slot.isOpen ? 1 - index : index;
    return slot.isOpen;
}

std::uint64_t FileUndoJournal::offsetOf(std::uint32_t index) const {
    return journal::slotOffset(m_header.slotBytes, index);
}

/// Header and table with one write, the data with another one.
bool FileUndoJournal::fill(std::uint32_t index, Bytes data) {
    Slot& slot = m_slots[index];
    slot.header.root = CheckedData::sum(data, m_filling.data() + kBlockBytes);
    encode(slot.header, Block(m_filling.data(), kBlockBytes));
    const auto bytes = kBlockBytes + static_cast<std::size_t>(CheckedData::tableBytes(data.size()));
    return writePadded(offsetOf(index) + journal::dataAt(m_header.slotBytes), data) &&
           take(m_file->write(offsetOf(index) + journal::kSlotHeaderAt, m_filling.data(), bytes),
                zel::marked("it could not be written"));
}

/// Into the slot's header or its note.
bool FileUndoJournal::writeMark(std::uint32_t index, std::uint64_t at, SlotMark mark) {
    journal::SlotHeader header = m_slots[index].header;
    header.mark = mark;
    encode(header, Block(m_block.data(), kBlockBytes));
    return take(m_file->write(offsetOf(index) + at, m_block.data(), kBlockBytes),
                zel::marked("it could not be written"));
}

/// Header and note with one write.
bool FileUndoJournal::writeDone(std::uint32_t index) {
    m_slots[index].isDurable = false;
    journal::encodeDone(m_slots[index].header, m_marks);
    return take(m_file->write(offsetOf(index) + journal::kNoteAt, m_marks.data(), m_marks.size()),
                zel::marked("it could not be written"));
}

FileUndoJournal::Slot* FileUndoJournal::findOpen(std::uint64_t lba, std::uint32_t count) {
    const auto found = std::find_if(std::begin(m_slots), std::end(m_slots), [&](const Slot& slot) {
        return slot.isOpen && slot.header.lba == lba && slot.header.count == count;
    });
    if (found != std::end(m_slots))
        return found;
    fail(zel::worded("it does not hold sectors {first} through {last}",
                     {{"first", lba}, {"last", lba + count - 1}}));
    return nullptr;
}

/// By the checksum: keeping the data would cost as much memory as the tests' own copies.
bool FileUndoJournal::holdsOriginal(std::uint64_t lba, std::uint32_t count, const void* data,
                                    std::size_t bytes) {
    const Slot* slot = findOpen(lba, count);
    if (slot == nullptr)
        return false;
    const auto tableBytes = static_cast<std::size_t>(journal::spanTableBytes(slot->header.spans));
    zel::Buffer joined(tableBytes == 0 ? 0 : tableBytes + bytes);
    Bytes stored = asBytes(data, bytes);
    if (tableBytes != 0) {
        journal::encodeSpans(slot->spans, {joined.data(), tableBytes});
        std::memcpy(joined.data() + tableBytes, data, bytes);
        stored = {joined.data(), joined.size()};
    }
    return (stored.size() == slot->header.dataBytes && CheckedData::rootOf(stored) == slot->header.root) ||
           fail(zel::worded("the sectors do not hold their original data"));
}

bool FileUndoJournal::readOriginal(std::uint64_t lba, std::uint32_t count, void* data, std::size_t bytes) {
    const Slot* slot = findOpen(lba, count);
    if (slot == nullptr)
        return false;
    const auto tableBytes = static_cast<std::size_t>(journal::spanTableBytes(slot->header.spans));
    if (tableBytes + bytes != slot->header.dataBytes)
        return false;
    const std::uint64_t offset = offsetOf(static_cast<std::uint32_t>(slot - m_slots));
    const CheckedData kept(*m_file, {offset + journal::dataAt(m_header.slotBytes), offset + journal::kTableAt,
                                     slot->header.dataBytes, slot->header.root});
    if (!kept.isWhole())
        return fail(kept.wasReadable() ? zel::worded("what it holds of the sectors is damaged")
                                       : zel::worded("it could not be read"));
    std::memcpy(data, kept.bytes().data() + tableBytes, bytes);
    return true;
}

bool FileUndoJournal::release(std::uint64_t lba, std::uint32_t count) {
    Slot* slot = findOpen(lba, count);
    if (slot == nullptr || !writeDone(static_cast<std::uint32_t>(slot - m_slots)))
        return false;
    slot->isOpen = false;
    return true;
}

bool FileUndoJournal::hasOpenSlots() const {
    return std::any_of(std::begin(m_slots), std::end(m_slots), [](const Slot& slot) { return slot.isOpen; });
}

bool FileUndoJournal::close() {
    m_isClosed = true;
    return hasOpenSlots() ? fail(zel::worded("it still holds sectors that were not put back")) : flush();
}

}  // namespace libDrive2
