#pragma once

#include <cstddef>
#include <cstdint>

namespace libDrive2 {

/// Keeps the original contents of sectors that a test overwrites, so that they survive a crash.
class SectorJournal {
public:
    virtual ~SectorJournal() = default;
    /// Returns true only when the data is durable in the journal. Blocks until then.
    virtual bool protect(std::uint64_t lba, std::uint32_t count, const void* data, std::size_t bytes) = 0;
    /// The sectors hold their original data again, durably.
    virtual bool release(std::uint64_t lba, std::uint32_t count) = 0;
};

}  // namespace libDrive2
