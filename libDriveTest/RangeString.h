#pragma once

#include <cstdint>

#include "zel/Export.h"
#include "zel/String.h"

namespace libDriveTest {

/// Turns the text of a range's start or end into an LBA: a sector number ("1234"), a size ("10GB", 1 KB =
/// 1024 bytes), a percentage below 100 ("50%"), MIN (0), MAX (`sectorCount`, one past the last sector), or
/// MIN/MAX moved by an offset ("MAX-1GB", "MIN+10%", "MAX - 100"). Blanks are allowed around the text and
/// around the sign. False when the text is rejected (the reason is logged); `lba` is then meaningless. An
/// accepted LBA may lie beyond the medium.
DRIVETEST_API bool parseRangeString(const zel::String& range, std::uint64_t sectorCount,
                                    std::uint32_t sectorSize, std::uint64_t& lba);

}  // namespace libDriveTest
