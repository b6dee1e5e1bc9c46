#pragma once

#include <optional>
#include <span>

#include "libDrive2/UndoJournal.h"
#include "libDrive2/journal/CheckedData.h"

namespace libDrive2::journal {

/// The file: its header twice, two slots (note of what came after, header, table of checksums, data), the
/// expected contents (header, distinct sectors, table of checksums). All parts begin at multiples of a block;
/// numbers are little-endian; every header has its checksum.
inline constexpr std::size_t kBlockBytes = 4096;
inline constexpr std::size_t kFileHeaderBytes = 4 * kBlockBytes;
inline constexpr std::uint32_t kFileHeaders = 2;
inline constexpr std::uint32_t kSlots = 2;
/// Within a slot. Note and header lie side by side so that one write marks both, header and table so that one
/// write fills both in.
inline constexpr std::uint64_t kNoteAt = 0;
inline constexpr std::uint64_t kSlotHeaderAt = kBlockBytes;
inline constexpr std::uint64_t kTableAt = 2 * kBlockBytes;
/// Of the file: the oldest one has no scattered slots and no stamps among what is expected, else it is alike.
inline constexpr std::uint32_t kVersion = 3;
inline constexpr std::uint32_t kOldestVersion = 2;
inline constexpr std::uint64_t kMostSlotBytes = std::uint64_t{1} << 32;

using Session = std::array<std::uint8_t, 16>;
/// One block to write a header into.
using Block = std::span<std::uint8_t, kBlockBytes>;

/// A header is open or done, a note is durable, restoring or done. All bytes of them differ in several bits.
enum class SlotMark : std::uint32_t {
    open = 0x11111111,
    done = 0xEEEEEEEE,
    restoring = 0x22DD22DD,
    durable = 0xDD22DD22,
};

struct SlotHeader {
    Session session{};
    std::uint64_t sequence = 0;  ///< counts all that was protected, from 1
    std::uint64_t lba = 0;
    std::uint32_t count = 0;
    SlotMark mark = SlotMark::done;
    std::uint64_t dataBytes = 0;
    Checksum root{};          ///< of CheckedData
    std::uint32_t spans = 0;  ///< of scattered sectors, whose table is the beginning of the data; 0: a range
};

struct ExpectedHeader {
    Session session{};
    std::uint64_t bytes = 0;
    Checksum root{};
};

/// Where the fields of a slot's header lie. It fits the smallest sector, so that a device writes it as a
/// whole.
inline constexpr std::size_t kSequenceEnd = 40;
inline constexpr std::size_t kSlotFieldsEnd = 80;
inline constexpr std::size_t kSlotHeaderBytes = kSlotFieldsEnd + sizeof(Checksum);

constexpr std::uint64_t roundUp(std::uint64_t bytes) {
    return (bytes + kBlockBytes - 1) / kBlockBytes * kBlockBytes;
}
/// Within a slot.
inline std::uint64_t dataAt(std::uint64_t slotBytes) {
    return kTableAt + CheckedData::tableBytes(slotBytes);
}
inline std::uint64_t slotOffset(std::uint64_t slotBytes, std::uint32_t index) {
    return kFileHeaders * kFileHeaderBytes + index * (dataAt(slotBytes) + roundUp(slotBytes));
}
inline std::uint64_t expectedOffset(std::uint64_t slotBytes) {
    return slotOffset(slotBytes, kSlots);
}
/// Header, sectors and table.
inline std::uint64_t expectedAreaBytes(std::uint64_t expectedBytes) {
    return kBlockBytes + roundUp(expectedBytes) + CheckedData::tableBytes(expectedBytes);
}

void encode(const SlotHeader& header, Block block);
void encode(const ExpectedHeader& header, Block block);
/// A slot's note and header, both done, into two blocks.
void encodeDone(SlotHeader header, zel::Buffer& marks);

/// Whether all bits are 0, but for one that may have flipped.
bool isBlank(Bytes bytes);

/// Nothing unless the block is such a header and fits its checksum, perhaps after one bit was mended. Half of
/// the checksum is enough: a write may be cut off within it.
std::optional<SlotHeader> decodeSlot(Bytes block);
/// What stands where a slot's header has its fields, whatever it is.
SlotHeader slotFields(Bytes bytes);
std::optional<ExpectedHeader> decodeExpected(Bytes block);

}  // namespace libDrive2::journal
