#pragma once

#include <array>
#include <cstdint>

namespace libDriveTest {

/// The bytes that pattern tests fill sectors with, in this order.
inline constexpr std::array<std::uint8_t, 18> kPatterns = {0xFF, 0x00, 0xF0, 0x0F, 0xAA, 0x55,
                                                           0x80, 0x40, 0x20, 0x10, 0x08, 0x04,
                                                           0x02, 0x01, 0x11, 0x22, 0x44, 0x88};

}  // namespace libDriveTest
