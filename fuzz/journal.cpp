#include "libDrive2/journal/FileHeader.h"
#include "libDrive2/journal/SpanTable.h"

#include <cstring>

#include "fuzz/Invariants.h"

namespace libDrive2::fuzz {
namespace {

using journal::kBlockBytes;

constexpr std::size_t kMostFileBytes = 256 << 10;

/// A file in memory that must not be written to.
class MemoryFile : public BlockHandle {
public:
    explicit MemoryFile(std::vector<std::uint8_t> bytes) : m_bytes(std::move(bytes)) {
        m_info.bytes = m_bytes.size();
    }
    [[nodiscard]] const BlockDeviceInfo& info() const override { return m_info; }
    DeviceStatus query() override { return {}; }
    DeviceStatus read(std::uint64_t offset, void* buffer, std::size_t bytes) override {
        require(offset <= m_bytes.size() && bytes <= m_bytes.size() - offset,
                "nothing is read beyond the end");
        if (bytes > 0)
            std::memcpy(buffer, m_bytes.data() + offset, bytes);
        return {};
    }
    DeviceStatus write(std::uint64_t /*offset*/, const void* /*buffer*/, std::size_t /*bytes*/) override {
        require(false, "a reader writes nothing");
        return {};
    }
    DeviceStatus flush() override { return {}; }
    DeviceStatus dropCache() override { return {}; }
    DeviceStatus reopen() override { return {}; }

private:
    std::vector<std::uint8_t> m_bytes;
    BlockDeviceInfo m_info;
};

/// Takes numbers from the input, one after the other; 0 beyond its end.
struct Fields {
    Bytes input;
    std::size_t at = 1;
    template <class Number>
    Number next() {
        at += sizeof(Number);
        return loadLittleEndian<Number>(input, at - sizeof(Number));
    }
};

template <class Header>
void put(std::vector<std::uint8_t>& file, std::uint64_t offset, const Header& header) {
    if (offset <= file.size() && file.size() - offset >= kBlockBytes)
        (void)journal::encode(header, journal::Block(file.data() + offset, kBlockBytes));
}

void put(std::vector<std::uint8_t>& file, const JournalHeader& header) {
    for (std::uint32_t i = 0; i < journal::kFileHeaders; ++i)
        if (file.size() >= (i + 1) * journal::kFileHeaderBytes)
            (void)journal::encode(header,
                                  journal::FileHeaderBytes(file.data() + i * journal::kFileHeaderBytes,
                                                           journal::kFileHeaderBytes));
}

Checksum rootAt(const std::vector<std::uint8_t>& file, std::uint64_t offset, std::uint64_t bytes) {
    return offset <= file.size() ? journal::CheckedData::rootOf(slice(file, offset, bytes)) : Checksum{};
}

journal::SlotMark markOf(std::uint8_t choice) {
    using journal::SlotMark;
    constexpr SlotMark kMarks[] = {SlotMark::open, SlotMark::done, SlotMark::restoring, SlotMark::durable,
                                   SlotMark{7}};
    return kMarks[choice % std::size(kMarks)];
}

/// A file whose headers fit their checksums, whatever they say, and often the data too.
std::vector<std::uint8_t> sealedFile(Bytes input) {
    Fields fields{input};
    JournalHeader header;
    header.drive.sectorBytes = fields.next<std::uint16_t>();
    header.drive.sectors = fields.next<std::uint32_t>();
    const auto shift = fields.next<std::uint8_t>();
    header.slotBytes = std::uint64_t{fields.next<std::uint16_t>()} << (shift % 48 / 16 * 16);
    header.drive.model = "model";
    std::vector<std::uint8_t> file(
        std::min<std::uint64_t>(kMostFileBytes, std::uint64_t{fields.next<std::uint16_t>()} << 3));
    const bool hasData = (byteAt(input, 0) & 2) != 0;
    header.fingerprint.samples.push_back({fields.next<std::uint8_t>(), fields.next<std::uint8_t>(), 0});
    put(file, header);
    for (std::uint32_t i = 0; i < journal::kSlots; ++i) {
        const std::uint64_t offset = journal::slotOffset(header.slotBytes, i);
        journal::SlotHeader slot;
        slot.sequence = fields.next<std::uint8_t>();
        slot.lba = fields.next<std::uint64_t>();
        slot.count = fields.next<std::uint32_t>();
        slot.mark = markOf(fields.next<std::uint8_t>());
        slot.dataBytes =
            hasData ? std::uint64_t{slot.count} * header.drive.sectorBytes : fields.next<std::uint64_t>();
        slot.root = rootAt(file, offset + journal::dataAt(header.slotBytes), slot.dataBytes);
        put(file, offset + journal::kSlotHeaderAt, slot);
        slot.sequence += fields.next<std::uint8_t>() % 3;
        slot.mark = markOf(fields.next<std::uint8_t>());
        put(file, offset + journal::kNoteAt, slot);
    }
    journal::ExpectedHeader expected;
    expected.bytes = fields.next<std::uint64_t>() >> (fields.next<std::uint8_t>() % 64);
    const std::uint64_t offset = journal::expectedOffset(header.slotBytes);
    expected.root = rootAt(file, offset + kBlockBytes, expected.bytes);
    put(file, offset, expected);
    return file;
}

Found summaryOf(const JournalContents& contents) {
    Found found{static_cast<std::uint64_t>(contents.state), contents.expected.size(),
                contents.expectedDamaged, contents.damaged.size()};
    for (const JournalSlot& slot : contents.open)
        found.insert(found.end(), {slot.index, slot.sequence, slot.lba, slot.count, slot.lost.size()});
    return found;
}

void requireSound(const JournalContents& contents) {
    const bool isValid = contents.state == JournalState::valid;
    require(isValid == contents.problem.isEmpty(), "what is no valid journal has a problem");
    require(isValid || (contents.open.empty() && contents.damaged.empty()), "only a valid one has slots");
    require(contents.open.size() + contents.damaged.size() <= journal::kSlots, "there are two slots");
    const DriveIdentity& drive = contents.header.drive;
    for (const JournalSlot& slot : contents.open) {
        require(slot.count > 0 && slot.lba <= drive.sectors && slot.count <= drive.sectors - slot.lba,
                "an open slot lies on the drive");
        require(slot.data.size() >= std::uint64_t{slot.count} * drive.sectorBytes, "it has all its data");
        std::uint64_t end = slot.lba;
        for (const SectorSpan& lost : slot.lost) {
            require(lost.lba >= end && lost.count > 0, "lost sectors rise");
            end = lost.lba + lost.count;
        }
        require(slot.spans.front().lba == slot.lba && journal::areRising(slot.spans) &&
                    journal::sectorsOf(slot.spans) == slot.count,
                "its spans are its sectors");
        const std::uint64_t last = slot.spans.back().lba + slot.spans.back().count;
        require(end <= last && last <= drive.sectors, "lost sectors lie in their slot");
    }
    for (const DriveSample& sample : contents.header.fingerprint.samples)
        require(sample.lba + sample.count <= drive.sectors, "samples lie on the drive");
    require(!isValid || contents.expected.size() % drive.sectorBytes == 0, "patterns are whole sectors");
}

}  // namespace

/// The input: a byte of options, then the file itself, or the fields of its headers.
void check(Bytes input) {
    const bool isSealed = (byteAt(input, 0) & 1) != 0;
    const Bytes raw = slice(input, 1, kMostFileBytes);
    MemoryFile file(isSealed ? sealedFile(input) : std::vector<std::uint8_t>(raw.begin(), raw.end()));
    const JournalContents contents = readJournal(file);
    requireSound(contents);
    require(summaryOf(readJournal(file)) == summaryOf(contents), "reading changes nothing");
}

}  // namespace libDrive2::fuzz
