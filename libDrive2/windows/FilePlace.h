#pragma once

#include <cstdint>

#include "zel/windows/Windows.h"

namespace libDrive2 {

/// A byte of a file, as calls take it that move data from there on, or lock it.
inline OVERLAPPED placeAt(std::uint64_t offset) {
    OVERLAPPED place{};
    place.Offset = static_cast<DWORD>(offset & 0xFFFFFFFF);
    place.OffsetHigh = static_cast<DWORD>(offset >> 32);
    return place;
}

/// Locks keep others from the bytes they cover: this one lies beyond what any file has.
inline constexpr std::uint64_t kLockedByte = std::uint64_t{1} << 62;

}  // namespace libDrive2
