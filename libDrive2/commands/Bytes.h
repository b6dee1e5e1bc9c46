#pragma once

#include <cstddef>
#include <cstdint>

#include "zel/Bytes.h"

namespace libDrive2 {

// Little-endian numbers are those of ATA and NVMe.
using zel::Bytes;
using zel::loadLittleEndian;
using zel::storeLittleEndian;
using zel::textOf;

/// Big-endian numbers, as SCSI has them. A field that does not lie within the bytes reads as 0.
template <class Number>
Number loadBigEndian(Bytes bytes, std::size_t at) {
    if (at > bytes.size() || bytes.size() - at < sizeof(Number))
        return 0;
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < sizeof(Number); ++i)
        value = value << 8 | bytes[at + i];
    return static_cast<Number>(value);
}

/// The byte at a place; 0 beyond the end.
inline std::uint8_t byteAt(Bytes bytes, std::size_t at) {
    return at < bytes.size() ? bytes[at] : std::uint8_t{0};
}

template <class Number, class Container>
void storeBigEndian(Container& bytes, std::size_t at, Number value) {
    for (std::size_t i = sizeof(Number); i > 0; --i) {
        bytes[at + i - 1] = static_cast<std::uint8_t>(value & 0xFF);
        value = static_cast<Number>(static_cast<std::uint64_t>(value) >> 8);
    }
}

/// At most `wanted` bytes from a place on; fewer, or none, where the bytes end before.
inline Bytes slice(Bytes bytes, std::size_t at, std::size_t wanted) {
    if (at >= bytes.size())
        return {};
    return bytes.subspan(at, wanted < bytes.size() - at ? wanted : bytes.size() - at);
}

}  // namespace libDrive2
