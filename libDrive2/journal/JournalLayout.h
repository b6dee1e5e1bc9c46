#pragma once

#include <optional>
#include <span>

#include "libDrive2/UndoJournal.h"
#include "libDrive2/journal/Checksum.h"

namespace libDrive2::journal {

/// The file: its header, two slots (header, note of what came after, data), the expected contents (header,
/// distinct sectors). All parts begin at multiples of a block; numbers are little-endian; every header ends
/// with its checksum.
inline constexpr std::size_t kBlockBytes = 4096;
inline constexpr std::uint32_t kSlots = 2;
inline constexpr std::uint64_t kNoteAt = kBlockBytes;  ///< within a slot
inline constexpr std::uint64_t kDataAt = 2 * kBlockBytes;
inline constexpr std::uint32_t kVersion = 1;
inline constexpr std::uint64_t kMostSlotBytes = std::uint64_t{1} << 32;

using Session = std::array<std::uint8_t, 16>;
/// One block to write a header into.
using Block = std::span<std::uint8_t, kBlockBytes>;

/// The last two stand in the slot's note, with the header's other fields.
enum class SlotMark : std::uint32_t { open = 1, done = 2, restoring = 3, durable = 4 };

struct SlotHeader {
    Session session{};
    std::uint64_t sequence = 0;  ///< counts all that was protected, from 1
    std::uint64_t lba = 0;
    std::uint32_t count = 0;
    SlotMark mark = SlotMark::done;
    std::uint64_t dataBytes = 0;
    Checksum data{};
};

struct ExpectedHeader {
    Session session{};
    std::uint64_t bytes = 0;
    Checksum data{};
};

constexpr std::uint64_t roundUp(std::uint64_t bytes) {
    return (bytes + kBlockBytes - 1) / kBlockBytes * kBlockBytes;
}
constexpr std::uint64_t slotOffset(std::uint64_t slotBytes, std::uint32_t index) {
    return kBlockBytes + index * (kDataAt + roundUp(slotBytes));
}
constexpr std::uint64_t expectedOffset(std::uint64_t slotBytes) {
    return slotOffset(slotBytes, kSlots);
}

/// False when the texts are too long for the block; a long locator is cut.
bool encode(const JournalHeader& header, Block block);
void encode(const SlotHeader& header, Block block);
void encode(const ExpectedHeader& header, Block block);

bool isBlank(Bytes bytes);
bool hasFileMagic(Bytes block);
std::uint32_t versionOf(Bytes block);
/// Nothing unless the block is such a header and fits its checksum.
std::optional<JournalHeader> decodeFile(Bytes block);
std::optional<SlotHeader> decodeSlot(Bytes block);
std::optional<ExpectedHeader> decodeExpected(Bytes block);

}  // namespace libDrive2::journal
