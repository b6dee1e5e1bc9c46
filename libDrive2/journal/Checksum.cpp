#include "libDrive2/journal/Checksum.h"

#include <xxhash.h>

namespace libDrive2 {

Checksum checksumOf(Bytes data) {
    const XXH128_hash_t hash = XXH3_128bits(data.data(), data.size());
    return {hash.low64, hash.high64};
}

std::uint64_t shortChecksumOf(Bytes data) {
    return XXH3_64bits(data.data(), data.size());
}

}  // namespace libDrive2
