#include "fuzz/Invariants.h"
#include "libDrive2/commands/UfiCommands.h"

namespace libDrive2::fuzz {
namespace {

Found findCapacities(Bytes answer) {
    const auto found = ufi::parseFormatCapacities(answer);
    if (!found)
        return {};
    const scsi::Capacity& capacity = found->capacity;
    if (found->medium != ufi::FormatCapacity::Medium::none)
        requireSizes(capacity.sectors, capacity.sectorBytes, capacity.physicalSectorBytes);
    return {static_cast<std::uint64_t>(found->medium), capacity.sectors, capacity.sectorBytes};
}

}  // namespace

/// The input is an answer to READ FORMAT CAPACITIES.
void check(Bytes input) {
    requireSameWithout(input, std::size_t{4} + byteAt(input, 3), findCapacities);
}

}  // namespace libDrive2::fuzz
