#include "libDrive2/journal/JournalReader.h"

#include <algorithm>

#include "libDrive2/journal/FileHeader.h"
#include "libDrive2/journal/SpanTable.h"
#include "zel/Words.h"

// A journal may be deleted only when it proves that nothing of it is needed, so whatever cannot be understood
// counts as needed. What a slot's header and note prove is told in SlotJudge.cpp. Where they leave open
// whether its data was written to the end, only the newest slot may have been cut off: slots are filled one
// after the other, each durable before the next one.

namespace libDrive2 {

using journal::CheckedData;
using journal::kBlockBytes;
using journal::SlotFate;

namespace {

constexpr const char* kOtherVersion =
    zel::marked("the journal was written by another version of the program: use that one");

Bytes bytesOf(const zel::Buffer& buffer) {
    return {buffer.data(), buffer.size()};
}

std::uint64_t sequenceOf(const journal::FoundMark& mark) {
    return mark.kind == journal::FoundMark::Kind::marked ? mark.header.sequence : 0;
}

}  // namespace

JournalContents readJournal(BlockHandle& file) {
    return JournalReader(file).read();
}

void JournalReader::reject(JournalState state, const char* problem) {
    m_contents.state = state;
    m_contents.problem = zel::words(problem);
}

/// False too where the file ends before.
bool JournalReader::readBytes(std::uint64_t offset, std::size_t bytes, zel::Buffer& buffer) {
    const std::uint64_t size = m_file.info().bytes;
    buffer = zel::Buffer(bytes);
    return offset <= size && size - offset >= bytes && m_file.read(offset, buffer.data(), bytes).ok();
}

JournalContents JournalReader::read() {
    if (!readHeader())
        return std::move(m_contents);
    m_contents.state = JournalState::valid;
    Found found[journal::kSlots];
    std::uint64_t newest = 0;
    for (std::uint32_t i = 0; i < journal::kSlots; ++i) {
        found[i] = readMarks(journal::slotOffset(m_contents.header.slotBytes, i));
        newest = std::max({newest, sequenceOf(found[i].header), sequenceOf(found[i].note)});
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
    if (m_file.info().bytes < journal::kFileHeaders * journal::kFileHeaderBytes) {
        // The file gets its size before it becomes a journal.
        zel::Buffer begin;
        const bool isOther = readBytes(0, kBlockBytes, begin) &&
                             journal::beginningOf(bytesOf(begin)) == journal::FileBeginning::otherVersion;
        const bool isEmpty = m_file.info().bytes == 0;
        reject(isOther   ? JournalState::otherVersion
               : isEmpty ? JournalState::unused
                         : JournalState::truncated,
               isOther ? kOtherVersion : zel::marked("the file is shorter than a journal's header"));
        return false;
    }
    std::vector<zel::Buffer> copies(journal::kFileHeaders);
    std::uint64_t offset = 0;
    for (zel::Buffer& copy : copies) {
        if (!readBytes(offset, journal::kFileHeaderBytes, copy))
            copy = {};
        offset += journal::kFileHeaderBytes;
    }
    if (!decodeHeader(copies)) {
        judgeBrokenHeader(copies);
        return false;
    }
    if (m_file.info().bytes >= UndoJournal::fileBytes(m_contents.header.slotBytes, 0))
        return true;
    reject(JournalState::truncated, zel::marked("the file is shorter than its header says"));
    return false;
}

bool JournalReader::decodeHeader(const std::vector<zel::Buffer>& copies) {
    for (const zel::Buffer& copy : copies)
        if (const auto header = journal::decodeFile(bytesOf(copy))) {
            m_contents.header = *header;
            return true;
        }
    return false;
}

bool JournalReader::isFirstSlotBlank() {
    zel::Buffer marks;
    return readBytes(journal::slotOffset(0, 0), 2 * kBlockBytes, marks) &&
           journal::isBlank(bytesOf(marks).first(kBlockBytes)) &&
           journal::isBlank(bytesOf(marks).subspan(kBlockBytes));
}

/// The header is the first thing written to the zeros of the file, and durable before the rest; the first
/// slot is filled first, and never blank again.
void JournalReader::judgeBrokenHeader(const std::vector<zel::Buffer>& copies) {
    using Beginning = journal::FileBeginning;
    const auto has = [&copies](Beginning beginning) {
        return std::any_of(copies.begin(), copies.end(), [beginning](const zel::Buffer& copy) {
            return copy.size() > 0 && journal::beginningOf(bytesOf(copy)) == beginning;
        });
    };
    const bool isReadable =
        std::all_of(copies.begin(), copies.end(), [](const zel::Buffer& copy) { return copy.size() > 0; });
    const bool isSecondOther = isReadable && journal::beginningOf(bytesOf(copies[1])) == Beginning::other;
    if (copies[0].size() > 0 && journal::beginningOf(bytesOf(copies[0])) == Beginning::otherVersion)
        reject(JournalState::otherVersion, kOtherVersion);
    else if (!isReadable)
        reject(JournalState::unreadable, zel::marked("the file's header cannot be read"));
    else if (has(Beginning::other) && !has(Beginning::cutOff))
        reject(JournalState::notAJournal, zel::marked("the file is no journal, or its beginning is damaged"));
    else if (!has(Beginning::other) && !isSecondOther && isFirstSlotBlank())
        reject(JournalState::unused,
               zel::marked("the run ended before it protected anything: nothing was overwritten"));
    else
        reject(JournalState::damaged,
               zel::marked("the journal's header is damaged: it does not fit its checksum"));
}

JournalReader::Found JournalReader::readMarks(std::uint64_t slotOffset) {
    const journal::Session& session = m_contents.header.session;
    zel::Buffer block;
    const auto read = [&](std::uint64_t at, auto find) {
        if (!readBytes(slotOffset + at, kBlockBytes, block))
            return find(nullptr);
        const Bytes bytes = bytesOf(block);
        return find(&bytes);
    };
    Found found;
    found.note =
        read(journal::kNoteAt, [&](const Bytes* bytes) { return journal::findNote(bytes, session); });
    found.header = read(journal::kSlotHeaderAt,
                        [&](const Bytes* bytes) { return journal::findHeader(bytes, session, found.note); });
    return found;
}

void JournalReader::readSlot(std::uint32_t index, const Found& found, std::uint64_t newest) {
    const SlotFate fate = journal::judgeSlot(found.header, found.note);
    if (fate.kind == SlotFate::Kind::settled)
        return;
    JournalSlot slot;
    slot.index = index;
    slot.sequence = fate.header.sequence;
    slot.wasRestoring = fate.wasRestoring;
    if (fate.kind == SlotFate::Kind::damaged || !isPlausible(fate.header)) {
        m_contents.damaged.push_back(std::move(slot));
        return;
    }
    readData(std::move(slot), fate.header,
             fate.kind == SlotFate::Kind::openOrCutOff && fate.header.sequence == newest);
}

bool JournalReader::isPlausible(const journal::SlotHeader& header) const {
    const DriveIdentity& drive = m_contents.header.drive;
    return header.count != 0 && header.spans <= header.count &&
           header.dataBytes ==
               journal::spanTableBytes(header.spans) + std::uint64_t{header.count} * drive.sectorBytes &&
           header.dataBytes <= m_contents.header.slotBytes && header.lba <= drive.sectors &&
           header.count <= drive.sectors - header.lba;
}

void JournalReader::readData(JournalSlot slot, const journal::SlotHeader& header, bool mayBeCutOff) {
    const std::uint64_t slotBytes = m_contents.header.slotBytes;
    const std::uint64_t offset = journal::slotOffset(slotBytes, slot.index);
    CheckedData data(m_file, {offset + journal::dataAt(slotBytes), offset + journal::kTableAt,
                              header.dataBytes, header.root});
    // What cannot be read proves nothing.
    if (!data.isWhole() && mayBeCutOff && data.wasReadable())
        return;
    if (!findSpans(slot, header, data) || data.isLost()) {
        m_contents.damaged.push_back(std::move(slot));
        return;
    }
    noteLost(slot, data.lost(), header.spans);
    if (const auto tableBytes = static_cast<std::size_t>(journal::spanTableBytes(header.spans));
        tableBytes != 0) {
        const Bytes sectors = data.bytes().subspan(tableBytes);
        slot.data = zel::Buffer(sectors.size());
        std::copy(sectors.begin(), sectors.end(), slot.data.data());
    } else {
        slot.data = data.takeBuffer();
    }
    m_contents.open.push_back(std::move(slot));
}

/// Which sectors the slot is of. False where nobody can tell any more.
bool JournalReader::findSpans(JournalSlot& slot, const journal::SlotHeader& header,
                              const CheckedData& data) const {
    if (header.spans == 0) {
        slot.spans = {{header.lba, header.count}};
    } else {
        const std::uint64_t tableBytes = journal::spanTableBytes(header.spans);
        if (!data.lost().empty() && data.lost().front() * kBlockBytes < tableBytes)
            return false;
        const auto spans = journal::decodeSpans(data.bytes(), header.spans, m_contents.header.drive.sectors);
        if (!spans || spans->front().lba != header.lba || journal::sectorsOf(*spans) != header.count)
            return false;
        slot.spans = *spans;
    }
    slot.lba = header.lba;
    slot.count = header.count;
    return true;
}

void JournalReader::noteLost(JournalSlot& slot, const std::vector<std::size_t>& blocks,
                             std::uint32_t tableSpans) const {
    const std::uint64_t sectorBytes = m_contents.header.drive.sectorBytes;
    const std::uint64_t tableBytes = journal::spanTableBytes(tableSpans);
    for (const std::size_t block : blocks) {
        const std::uint64_t at = block * kBlockBytes - tableBytes;
        noteLost(slot, at / sectorBytes,
                 std::min<std::uint64_t>(slot.count, (at + kBlockBytes + sectorBytes - 1) / sectorBytes));
    }
}

/// Of all the slot's sectors, from one number to before another.
void JournalReader::noteLost(JournalSlot& slot, std::uint64_t from, std::uint64_t end) {
    std::uint64_t number = 0;  // of the span's first sector
    for (const SectorSpan& span : slot.spans) {
        const std::uint64_t first = std::max(from, number);
        const std::uint64_t last = std::min(end, number + span.count);
        if (first < last) {
            const SectorSpan lost{span.lba + first - number, last - first};
            if (!slot.lost.empty() && slot.lost.back().lba + slot.lost.back().count >= lost.lba)
                slot.lost.back().count = lost.lba + lost.count - slot.lost.back().lba;
            else
                slot.lost.push_back(lost);
        }
        number += span.count;
    }
}

/// False when any of it is lost; the rest is kept.
bool JournalReader::readExpected() {
    const std::uint64_t offset = journal::expectedOffset(m_contents.header.slotBytes);
    const std::uint64_t sectorBytes = m_contents.header.drive.sectorBytes;
    zel::Buffer block;
    if (!readBytes(offset, kBlockBytes, block))
        return false;
    if (journal::isBlank(bytesOf(block)))
        return true;
    const auto header = journal::decodeExpected(bytesOf(block));
    const std::uint64_t room = m_file.info().bytes - offset;
    if (!header || header->session != m_contents.header.session || header->bytes > room ||
        journal::expectedAreaBytes(header->bytes) > room || header->bytes % sectorBytes != 0)
        return false;
    const std::uint64_t dataAt = offset + kBlockBytes;
    const CheckedData data(m_file,
                           {dataAt, dataAt + journal::roundUp(header->bytes), header->bytes, header->root});
    for (std::size_t at = 0; at < data.bytes().size(); at += sectorBytes) {
        const auto isIn = [&](std::size_t lost) {
            return lost * kBlockBytes < at + sectorBytes && at < (lost + 1) * kBlockBytes;
        };
        const Bytes sector = data.bytes().subspan(at, sectorBytes);
        if (std::none_of(data.lost().begin(), data.lost().end(), isIn))
            m_contents.expected.insert(m_contents.expected.end(), sector.begin(), sector.end());
    }
    return data.isWhole();
}

}  // namespace libDrive2
