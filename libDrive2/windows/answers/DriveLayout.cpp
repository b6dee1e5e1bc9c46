#include "libDrive2/windows/answers/DriveLayout.h"

#include <array>
#include <limits>

namespace libDrive2 {

namespace {

constexpr std::size_t kFirstAt = 48;
constexpr std::size_t kPartitionBytes = 144;
constexpr std::size_t kStartAt = 8, kBytesAt = 16, kNumberAt = 24, kTypeAt = 32;
constexpr std::size_t kGuidBytes = 16;

constexpr std::uint8_t kDynamicMbr = 0x42;
constexpr const char* kDynamicMetadata = "5808c8aa-7e8f-42e0-85d2-e1e90434cfb3";
constexpr const char* kDynamicData = "af9b60a0-1431-4f62-bc68-3311714a69ad";
constexpr const char* kPool = "e75caf8f-f680-4cee-afa3-b001e56efc2d";
constexpr const char* kUnused = "00000000-0000-0000-0000-000000000000";

/// The first three fields of a GUID are little-endian, the others come byte by byte.
std::string guidText(Bytes bytes) {
    static constexpr std::array<std::size_t, kGuidBytes> kOrder = {3, 2, 1,  0,  5,  4,  7,  6,
                                                                   8, 9, 10, 11, 12, 13, 14, 15};
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (std::size_t i = 0; i < kGuidBytes; ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10)
            text += '-';
        text += kDigits[byteAt(bytes, kOrder[i]) >> 4];
        text += kDigits[byteAt(bytes, kOrder[i]) & 0xF];
    }
    return text;
}

LayoutPartition partitionAt(Bytes entry, DriveLayout::Style style) {
    LayoutPartition partition;
    partition.start = loadLittleEndian<std::uint64_t>(entry, kStartAt);
    partition.bytes = loadLittleEndian<std::uint64_t>(entry, kBytesAt);
    partition.number = loadLittleEndian<std::uint32_t>(entry, kNumberAt);
    if (style == DriveLayout::Style::gpt)
        partition.gptType = guidText(slice(entry, kTypeAt, kGuidBytes));
    else
        partition.mbrType = byteAt(entry, kTypeAt);
    return partition;
}

/// Entries without a type are room in the table; those that hold others are no partitions either.
bool isUsed(const LayoutPartition& partition) {
    const bool isExtended =
        partition.mbrType == 0x05 || partition.mbrType == 0x0F || partition.mbrType == 0x85;
    const bool hasType =
        partition.gptType.empty() ? partition.mbrType != 0 && !isExtended : partition.gptType != kUnused;
    constexpr std::uint64_t kMost = std::numeric_limits<std::int64_t>::max();
    return hasType && partition.bytes > 0 && partition.start <= kMost &&
           partition.bytes <= kMost - partition.start;
}

}  // namespace

bool LayoutPartition::isDynamic() const {
    return mbrType == kDynamicMbr || gptType == kDynamicMetadata || gptType == kDynamicData;
}

bool LayoutPartition::isPool() const {
    return gptType == kPool;
}

const char* DriveLayout::table() const {
    switch (style) {
        case Style::mbr:
            return "dos";
        case Style::gpt:
            return "gpt";
        default:
            return "";
    }
}

std::optional<DriveLayout> parseDriveLayout(Bytes answer) {
    const auto style = loadLittleEndian<std::uint32_t>(answer, 0);
    const auto count = loadLittleEndian<std::uint32_t>(answer, 4);
    if (answer.size() < kFirstAt || style > static_cast<std::uint32_t>(DriveLayout::Style::raw) ||
        count > (answer.size() - kFirstAt) / kPartitionBytes)
        return std::nullopt;
    DriveLayout layout;
    layout.style = static_cast<DriveLayout::Style>(style);
    for (std::uint32_t i = 0; layout.style != DriveLayout::Style::raw && i < count; ++i) {
        const LayoutPartition partition = partitionAt(
            slice(answer, kFirstAt + std::size_t{i} * kPartitionBytes, kPartitionBytes), layout.style);
        if (isUsed(partition))
            layout.partitions.push_back(partition);
    }
    return layout;
}

}  // namespace libDrive2
