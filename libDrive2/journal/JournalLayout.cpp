#include "libDrive2/journal/JournalLayout.h"

#include <algorithm>
#include <string_view>

namespace libDrive2::journal {

namespace {

constexpr std::uint64_t kFileMagic = 0x0A1A0D4F444E5589;  // a byte that is no text, "UNDO", ends of lines
constexpr std::uint64_t kSlotMagic = 0x544F4C534F444E55;
constexpr std::uint64_t kExpectedMagic = 0x435058454F444E55;

// All headers begin alike: magic, version, 4 bytes for the header's own use, session.
constexpr std::size_t kMarkAt = 12;
constexpr std::size_t kSessionAt = 16;
constexpr std::size_t kFieldsAt = 32;
// A slot's header lies within the smallest sector, so that a device writes it as a whole.
constexpr std::size_t kSlotFieldsEnd = kFieldsAt + 48;
constexpr std::size_t kExpectedFieldsEnd = kFieldsAt + 24;
constexpr std::size_t kTextsAt = 64;
constexpr std::size_t kTextsEndAt = 56;
constexpr std::size_t kMostTextsEnd = kBlockBytes - sizeof(Checksum);

void begin(Block block, std::uint64_t magic, const Session& session) {
    std::fill(block.begin(), block.end(), std::uint8_t{0});
    storeLittleEndian(block, 0, magic);
    storeLittleEndian(block, 8, kVersion);
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
    return block.size() >= kBlockBytes && loadLittleEndian<std::uint64_t>(block, 0) == magic &&
           versionOf(block) == kVersion &&
           loadChecksum(block, fieldsEnd) == checksumOf(block.first(fieldsEnd));
}

Session loadSession(Bytes block) {
    Session session{};
    std::copy_n(block.begin() + kSessionAt, session.size(), session.begin());
    return session;
}

/// The text with its length before it. False when it does not fit.
bool storeText(Block block, std::size_t& at, std::string_view text) {
    if (at + 2 + text.size() > kMostTextsEnd)
        return false;
    storeLittleEndian(block, at, static_cast<std::uint16_t>(text.size()));
    std::copy(text.begin(), text.end(), block.begin() + static_cast<std::ptrdiff_t>(at + 2));
    at += 2 + text.size();
    return true;
}

zel::String loadText(Bytes block, std::size_t& at) {
    const Bytes text = slice(block.first(kMostTextsEnd), at + 2, loadLittleEndian<std::uint16_t>(block, at));
    at += 2 + text.size();
    return std::string(text.begin(), text.end());
}

}  // namespace

bool encode(const JournalHeader& header, Block block) {
    begin(block, kFileMagic, header.session);
    storeLittleEndian(block, kMarkAt, header.drive.sectorBytes);
    storeLittleEndian(block, kFieldsAt, header.drive.sectors);
    storeLittleEndian(block, kFieldsAt + 8, header.createdUnixSeconds);
    storeLittleEndian(block, kFieldsAt + 16, header.slotBytes);
    std::size_t at = kTextsAt;
    if (!storeText(block, at, header.drive.model.utf8()) ||
        !storeText(block, at, header.drive.serial.utf8()) ||
        !storeText(block, at,
                   header.locator.utf8().substr(0, kMostTextsEnd - std::min(kMostTextsEnd, at + 2))))
        return false;
    storeLittleEndian(block, kTextsEndAt, static_cast<std::uint32_t>(at));
    seal(block, at);
    return true;
}

void encode(const SlotHeader& header, Block block) {
    begin(block, kSlotMagic, header.session);
    storeLittleEndian(block, kMarkAt, static_cast<std::uint32_t>(header.mark));
    storeLittleEndian(block, kFieldsAt, header.sequence);
    storeLittleEndian(block, kFieldsAt + 8, header.lba);
    storeLittleEndian(block, kFieldsAt + 16, std::uint64_t{header.count});
    storeLittleEndian(block, kFieldsAt + 24, header.dataBytes);
    storeChecksum(block, kFieldsAt + 32, header.data);
    seal(block, kSlotFieldsEnd);
}

void encode(const ExpectedHeader& header, Block block) {
    begin(block, kExpectedMagic, header.session);
    storeLittleEndian(block, kFieldsAt, header.bytes);
    storeChecksum(block, kFieldsAt + 8, header.data);
    seal(block, kExpectedFieldsEnd);
}

bool isBlank(Bytes bytes) {
    return std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte == 0; });
}

bool hasFileMagic(Bytes block) {
    return loadLittleEndian<std::uint64_t>(block, 0) == kFileMagic;
}

std::uint32_t versionOf(Bytes block) {
    return loadLittleEndian<std::uint32_t>(block, 8);
}

std::optional<JournalHeader> decodeFile(Bytes block) {
    const auto end = loadLittleEndian<std::uint32_t>(block, kTextsEndAt);
    if (end < kTextsAt || end > kMostTextsEnd || !isSealed(block, kFileMagic, end))
        return std::nullopt;
    JournalHeader header;
    header.session = loadSession(block);
    header.drive.sectorBytes = loadLittleEndian<std::uint32_t>(block, kMarkAt);
    header.drive.sectors = loadLittleEndian<std::uint64_t>(block, kFieldsAt);
    header.createdUnixSeconds = loadLittleEndian<std::uint64_t>(block, kFieldsAt + 8);
    header.slotBytes = loadLittleEndian<std::uint64_t>(block, kFieldsAt + 16);
    std::size_t at = kTextsAt;
    header.drive.model = loadText(block, at);
    header.drive.serial = loadText(block, at);
    header.locator = loadText(block, at);
    if (header.drive.sectorBytes == 0 || header.slotBytes == 0 || header.slotBytes > kMostSlotBytes)
        return std::nullopt;
    return header;
}

std::optional<SlotHeader> decodeSlot(Bytes block) {
    if (!isSealed(block, kSlotMagic, kSlotFieldsEnd))
        return std::nullopt;
    SlotHeader header;
    header.session = loadSession(block);
    header.mark = static_cast<SlotMark>(loadLittleEndian<std::uint32_t>(block, kMarkAt));
    header.sequence = loadLittleEndian<std::uint64_t>(block, kFieldsAt);
    header.lba = loadLittleEndian<std::uint64_t>(block, kFieldsAt + 8);
    header.count = loadLittleEndian<std::uint32_t>(block, kFieldsAt + 16);
    header.dataBytes = loadLittleEndian<std::uint64_t>(block, kFieldsAt + 24);
    header.data = loadChecksum(block, kFieldsAt + 32);
    return header;
}

std::optional<ExpectedHeader> decodeExpected(Bytes block) {
    if (!isSealed(block, kExpectedMagic, kExpectedFieldsEnd))
        return std::nullopt;
    return ExpectedHeader{loadSession(block), loadLittleEndian<std::uint64_t>(block, kFieldsAt),
                          loadChecksum(block, kFieldsAt + 8)};
}

}  // namespace libDrive2::journal
