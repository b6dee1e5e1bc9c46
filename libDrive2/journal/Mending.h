#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
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

/// All words of 64 bits, one XOR the other; the last one padded with zeros. Kept beside a checksum, it tells
/// in which bit of a word one flipped, and so spares most of the search.
inline std::uint64_t foldOf(std::span<const std::uint8_t> bytes) {
    std::uint64_t fold = 0;
    std::uint64_t word = 0;
    std::size_t at = 0;
    for (; at + sizeof word <= bytes.size(); at += sizeof word) {
        std::memcpy(&word, bytes.data() + at, sizeof word);
        fold ^= word;
    }
    word = 0;
    if (at < bytes.size())
        std::memcpy(&word, bytes.data() + at, bytes.size() - at);
    return fold ^ word;
}

/// As mendBit(), for bytes that had this fold.
template <class Fits>
bool mendFolded(std::span<std::uint8_t> bytes, std::uint64_t fold, Fits fits) {
    const std::uint64_t flipped = foldOf(bytes) ^ fold;
    if (!std::has_single_bit(flipped))
        return false;
    for (std::size_t at = 0; at < bytes.size(); at += sizeof flipped) {
        const auto word = bytes.subspan(at, std::min(sizeof flipped, bytes.size() - at));
        const auto flip = [&word, flipped] {
            std::uint8_t mask[sizeof flipped];
            std::memcpy(mask, &flipped, sizeof flipped);
            for (std::size_t i = 0; i < word.size(); ++i)
                word[i] = static_cast<std::uint8_t>(word[i] ^ mask[i]);
        };
        flip();
        if (fits())
            return true;
        flip();
    }
    return false;
}

}  // namespace libDrive2::journal
