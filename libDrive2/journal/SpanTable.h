#pragma once

#include <optional>
#include <span>
#include <vector>

#include "libDrive2/DriveTypes.h"
#include "libDrive2/commands/Bytes.h"

namespace libDrive2::journal {

/// Where the sectors of a scattered slot lie: first sector and number of each of their spans, in rising
/// order, padded with zeros to whole blocks. In the slot's data it stands before the sectors.
constexpr std::uint64_t kSpanBytes = 16;

/// Bytes of a table of so many spans.
std::uint64_t spanTableBytes(std::uint64_t spans);
/// `room` holds spanTableBytes().
void encodeSpans(std::span<const SectorSpan> spans, std::span<std::uint8_t> room);
/// Nothing unless the spans rise, do not overlap and lie on a drive of so many sectors.
std::optional<std::vector<SectorSpan>> decodeSpans(Bytes table, std::uint32_t spans,
                                                   std::uint64_t driveSectors);
/// Whether each span has sectors and begins behind the one before.
bool areRising(std::span<const SectorSpan> spans);
/// Whether any sector is in both; both rise.
bool doOverlap(std::span<const SectorSpan> a, std::span<const SectorSpan> b);
std::uint64_t sectorsOf(std::span<const SectorSpan> spans);

}  // namespace libDrive2::journal
