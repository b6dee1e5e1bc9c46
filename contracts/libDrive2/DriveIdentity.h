#pragma once

#include <cstdint>

#include "zel/String.h"

namespace libDrive2 {

/// What tells one drive from another, whatever path leads to it.
struct DriveIdentity {
    zel::String model{};
    zel::String serial{};  ///< empty when the drive has none
    std::uint64_t sectors = 0;
    std::uint32_t sectorBytes = 0;  ///< of a logical sector

    bool operator==(const DriveIdentity&) const = default;
    /// For messages: "MODEL, serial number SERIAL, 1000 sectors of 512 bytes".
    [[nodiscard]] zel::String describe() const;
};

}  // namespace libDrive2
