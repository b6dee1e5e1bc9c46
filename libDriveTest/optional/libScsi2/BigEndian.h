#pragma once

#include <bit>
#include <cstdint>

namespace libDriveTest {

/// Between the order of bytes in a drive's descriptors and the host's, both ways.
constexpr std::uint32_t swapBigEndian(std::uint32_t value) {
    if constexpr (std::endian::native == std::endian::big)
        return value;
    return value >> 24 | (value >> 8 & 0xFF00) | (value << 8 & 0xFF0000) | value << 24;
}

}  // namespace libDriveTest
