#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "libDrive2/commands/Bytes.h"

namespace libDrive2 {

/// A partition as the system sees it.
struct LayoutPartition {
    std::uint32_t number = 0;
    std::uint64_t start = 0, bytes = 0;
    std::uint8_t mbrType = 0;  ///< 0 in a GPT
    std::string gptType{};     ///< such as "ebd0a0a2-b9e5-4433-87c0-68b6b72699c7"; empty in an MBR

    /// Of a disk whose volumes are not where its partitions are: a member of a dynamic disk group.
    [[nodiscard]] bool isDynamic() const;
    /// A member of a pool that spaces are made of.
    [[nodiscard]] bool isPool() const;
};

/// DRIVE_LAYOUT_INFORMATION_EX.
struct DriveLayout {
    enum class Style : std::uint32_t { mbr = 0, gpt = 1, raw = 2 };

    Style style = Style::raw;
    std::vector<LayoutPartition> partitions{};  ///< those in use

    /// "dos", "gpt"; empty without a table.
    [[nodiscard]] const char* table() const;
};

/// Nothing where the answer does not hold all that it tells of, or names no style that is known.
std::optional<DriveLayout> parseDriveLayout(Bytes answer);

}  // namespace libDrive2
