#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "libDrive2/BlockHandle.h"
#include "libDrive2/DriveTypes.h"
#include "zel/Export.h"

namespace libDrive2 {

/// Some sectors of a drive and the checksum of what they held.
struct DriveSample {
    std::uint64_t lba = 0;
    std::uint32_t count = 0;  ///< sectors
    std::uint64_t sum = 0;    ///< XXH3, 64 bits

    bool operator==(const DriveSample&) const = default;
};

/// What a drive holds at places spread over it, denser where partition tables and file systems begin and
/// end. Tells a drive from others that the system cannot tell it from, and whether somebody has written to it
/// since.
struct DriveFingerprint {
    std::vector<DriveSample> samples{};  ///< in rising order, not overlapping; at most kMostSamples

    static constexpr std::size_t kMostSamples = 256;
};

/// Reads the samples. What cannot be read is left out. Blocks for about a hundred random reads.
DRIVETEST_API DriveFingerprint takeFingerprint(BlockHandle& drive);

struct FingerprintFinding {
    std::size_t compared = 0;        ///< samples that could be read
    std::size_t changed = 0;         ///< of these, samples that hold something else
    std::uint64_t firstChanged = 0;  ///< LBA of the first of them
};

/// Whether a sector is known to hold something else by the doing of who asks.
using SectorExcuse = std::function<bool(std::span<const std::uint8_t> sector)>;

/// Reads them again, but those that touch a span. Left out are samples with an excused sector, and those that
/// hold something else at each read.
DRIVETEST_API FingerprintFinding compareFingerprint(BlockHandle& drive, const DriveFingerprint& before,
                                                    const std::vector<SectorSpan>& except,
                                                    const SectorExcuse& isExcused = nullptr);

}  // namespace libDrive2
