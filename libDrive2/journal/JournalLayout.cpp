#include "libDrive2/journal/JournalLayout.h"

#include <algorithm>
#include <bit>

#include "libDrive2/journal/Mending.h"

namespace libDrive2::journal {

namespace {

constexpr std::uint64_t kSlotMagic = 0x544F4C534F444E55;
constexpr std::uint64_t kExpectedMagic = 0x435058454F444E55;
/// Of slots and expected contents; with the file's version it has to change only where older ones could not
/// be read as they are.
constexpr std::uint32_t kPartsVersion = 2;

// Both headers begin alike: magic, version, 4 bytes for the header's own use, session.
constexpr std::size_t kMarkAt = 12;
constexpr std::size_t kSessionAt = 16;
constexpr std::size_t kFieldsAt = 32;
constexpr std::size_t kExpectedFieldsEnd = kFieldsAt + 24;

void begin(Block block, std::uint64_t magic, const Session& session) {
    std::fill(block.begin(), block.end(), std::uint8_t{0});
    storeLittleEndian(block, 0, magic);
    storeLittleEndian(block, 8, kPartsVersion);
    std::copy(session.begin(), session.end(), block.begin() + kSessionAt);
}

void storeChecksum(Block block, std::size_t at, const Checksum& sum) {
    storeLittleEndian(block, at, sum.low);
    storeLittleEndian(block, at + 8, sum.high);
}

Checksum loadChecksum(Bytes block, std::size_t at) {
    return {loadLittleEndian<std::uint64_t>(block, at), loadLittleEndian<std::uint64_t>(block, at + 8)};
}

void seal(Block block, std::size_t fieldsEnd) {
    storeChecksum(block, fieldsEnd, checksumOf(block.first(fieldsEnd)));
}

bool isSealed(Bytes block, std::uint64_t magic, std::size_t fieldsEnd) {
    if (loadLittleEndian<std::uint64_t>(block, 0) != magic ||
        loadLittleEndian<std::uint32_t>(block, 8) != kPartsVersion)
        return false;
    const Checksum stored = loadChecksum(block, fieldsEnd);
    const Checksum sum = checksumOf(block.first(fieldsEnd));
    return stored.low == sum.low || stored.high == sum.high;
}

/// The header's bytes, mended if need be; nothing when they are no header.
std::optional<std::vector<std::uint8_t>> sealedBytes(Bytes block, std::uint64_t magic,
                                                     std::size_t fieldsEnd) {
    if (block.size() < fieldsEnd + sizeof(Checksum))
        return std::nullopt;
    std::vector<std::uint8_t> bytes(
        block.begin(), block.begin() + static_cast<std::ptrdiff_t>(fieldsEnd + sizeof(Checksum)));
    const auto fits = [&] { return isSealed(bytes, magic, fieldsEnd); };
    if (fits() || mendBit(std::span(bytes).first(fieldsEnd), fits))
        return bytes;
    return std::nullopt;
}

Session loadSession(Bytes block) {
    Session session{};
    std::copy_n(block.begin() + kSessionAt, session.size(), session.begin());
    return session;
}

}  // namespace

void encode(const SlotHeader& header, Block block) {
    begin(block, kSlotMagic, header.session);
    storeLittleEndian(block, kMarkAt, static_cast<std::uint32_t>(header.mark));
    storeLittleEndian(block, kFieldsAt, header.sequence);
    storeLittleEndian(block, kFieldsAt + 8, header.lba);
    storeLittleEndian(block, kFieldsAt + 16, std::uint64_t{header.spans} << 32 | header.count);
    storeLittleEndian(block, kFieldsAt + 24, header.dataBytes);
    storeChecksum(block, kFieldsAt + 32, header.root);
    seal(block, kSlotFieldsEnd);
}

void encode(const ExpectedHeader& header, Block block) {
    begin(block, kExpectedMagic, header.session);
    storeLittleEndian(block, kFieldsAt, header.bytes);
    storeChecksum(block, kFieldsAt + 8, header.root);
    seal(block, kExpectedFieldsEnd);
}

void encodeDone(SlotHeader header, zel::Buffer& marks) {
    header.mark = SlotMark::done;
    encode(header, Block(marks.data() + kNoteAt, kBlockBytes));
    encode(header, Block(marks.data() + kSlotHeaderAt, kBlockBytes));
}

bool isBlank(Bytes bytes) {
    int bits = 0;
    return std::all_of(bytes.begin(), bytes.end(),
                       [&bits](std::uint8_t byte) { return (bits += std::popcount(byte)) <= 1; });
}

std::optional<SlotHeader> decodeSlot(Bytes block) {
    const auto bytes = sealedBytes(block, kSlotMagic, kSlotFieldsEnd);
    return bytes ? std::optional(slotFields(*bytes)) : std::nullopt;
}

SlotHeader slotFields(Bytes bytes) {
    SlotHeader header;
    header.session = loadSession(bytes);
    header.mark = static_cast<SlotMark>(loadLittleEndian<std::uint32_t>(bytes, kMarkAt));
    header.sequence = loadLittleEndian<std::uint64_t>(bytes, kFieldsAt);
    header.lba = loadLittleEndian<std::uint64_t>(bytes, kFieldsAt + 8);
    header.count = loadLittleEndian<std::uint32_t>(bytes, kFieldsAt + 16);
    header.spans = loadLittleEndian<std::uint32_t>(bytes, kFieldsAt + 20);
    header.dataBytes = loadLittleEndian<std::uint64_t>(bytes, kFieldsAt + 24);
    header.root = loadChecksum(bytes, kFieldsAt + 32);
    return header;
}

std::optional<ExpectedHeader> decodeExpected(Bytes block) {
    const auto bytes = sealedBytes(block, kExpectedMagic, kExpectedFieldsEnd);
    if (!bytes)
        return std::nullopt;
    return ExpectedHeader{loadSession(*bytes), loadLittleEndian<std::uint64_t>(*bytes, kFieldsAt),
                          loadChecksum(*bytes, kFieldsAt + 8)};
}

}  // namespace libDrive2::journal
