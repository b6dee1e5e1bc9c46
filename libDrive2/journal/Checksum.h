#pragma once

#include <cstdint>

#include "libDrive2/commands/Bytes.h"

namespace libDrive2 {

/// 128 bits of XXH3: quick, and far too long to fit by accident.
struct Checksum {
    std::uint64_t low = 0;
    std::uint64_t high = 0;

    bool operator==(const Checksum&) const = default;
};

Checksum checksumOf(Bytes data);
/// 64 bits of it, for pieces that others vouch for as well.
std::uint64_t shortChecksumOf(Bytes data);

}  // namespace libDrive2
