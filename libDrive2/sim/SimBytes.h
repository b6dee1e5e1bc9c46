#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace libDrive2 {

// Numbers and texts as they stand in the blocks that drives answer with.

inline std::uint64_t getBigEndian(const std::uint8_t* at, std::size_t bytes) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < bytes; ++i)
        value = value << 8 | at[i];
    return value;
}

inline void putBigEndian(std::uint8_t* at, std::size_t bytes, std::uint64_t value) {
    for (std::size_t i = 0; i < bytes; ++i)
        at[i] = static_cast<std::uint8_t>(value >> 8 * (bytes - 1 - i));
}

inline void putLittleEndian(std::uint8_t* at, std::size_t bytes, std::uint64_t value) {
    for (std::size_t i = 0; i < bytes; ++i)
        at[i] = static_cast<std::uint8_t>(value >> 8 * i);
}

/// Cut off or padded with blanks to the width of the field.
inline void putText(std::uint8_t* at, std::size_t width, std::string_view text) {
    std::fill_n(at, width, std::uint8_t{' '});
    std::copy_n(text.begin(), std::min(width, text.size()), at);
}

}  // namespace libDrive2
