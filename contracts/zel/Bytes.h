#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "zel/Export.h"

namespace zel {

using Bytes = std::span<const std::uint8_t>;

/// Little-endian numbers. A field that does not lie within the bytes reads as 0.
template <class Number>
Number loadLittleEndian(Bytes bytes, std::size_t at) {
    if (at > bytes.size() || bytes.size() - at < sizeof(Number))
        return 0;
    std::uint64_t value = 0;
    for (std::size_t i = sizeof(Number); i > 0; --i)
        value = value << 8 | bytes[at + i - 1];
    return static_cast<Number>(value);
}

template <class Number, class Container>
void storeLittleEndian(Container& bytes, std::size_t at, Number value) {
    for (std::size_t i = 0; i < sizeof(Number); ++i) {
        bytes[at + i] = static_cast<std::uint8_t>(value & 0xFF);
        value = static_cast<Number>(static_cast<std::uint64_t>(value) >> 8);
    }
}

/// The bytes as text: printable ASCII, anything else as a blank, blanks at both ends removed.
DRIVETEST_API std::string textOf(Bytes bytes);

}  // namespace zel
