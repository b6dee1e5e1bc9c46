#pragma once

#include <optional>
#include <vector>

#include "libDrive2/DriveTypes.h"
#include "zel/String.h"

namespace libDriveTest {

/// Ranges of sectors from a text, "FIRST-LAST,FIRST-LAST,LBA": rising, not overlapping, cut to `limits`. An
/// empty text gives the limits themselves; what is no such text, nothing.
std::optional<std::vector<libDrive2::SectorSpan>> readSectorRanges(const zel::String& text,
                                                                   const libDrive2::SectorSpan& limits);

}  // namespace libDriveTest
