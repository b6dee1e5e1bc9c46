#pragma once

#include <cstdint>
#include <span>

namespace libDrive2::journal {

/// Flips one bit after the other until `fits()`; false, with all bits as they were, when none helps. The
/// smallest damage is the most common one, and a checksum tells which bit it was.
template <class Fits>
bool mendBit(std::span<std::uint8_t> bytes, Fits fits) {
    for (std::uint8_t& byte : bytes)
        for (unsigned bit = 0; bit < 8; ++bit) {
            byte = static_cast<std::uint8_t>(byte ^ 1U << bit);
            if (fits())
                return true;
            byte = static_cast<std::uint8_t>(byte ^ 1U << bit);
        }
    return false;
}

}  // namespace libDrive2::journal
