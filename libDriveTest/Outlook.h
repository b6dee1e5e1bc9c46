#pragma once

#include <cstdint>

#include "quix5/ModuleDescriptor.h"

namespace libDriveTest {

/// The size of a drive that nobody opened yet.
struct DriveSize {
    std::uint64_t sectors;
    std::uint32_t sectorBytes;
};

/// Of a test of the share that its parameters name, each sector of which is transferred so often.
quix5::TestOutlook foreseeShare(const DriveSize& drive, unsigned transfers);
/// The same of all of StartRange to EndRange.
quix5::TestOutlook foreseeRange(const DriveSize& drive, unsigned transfers);
/// Of a test that moves so often for each position of the share.
quix5::TestOutlook foreseeMoves(const DriveSize& drive, unsigned moves);
/// Of ReadWriteSpeedTest: what is read once, and what is saved, written, put back and read again.
quix5::TestOutlook foreseeReadsAndWrites(const DriveSize& drive);

/// As rows of the table of tests have them.
template <unsigned transfers>
quix5::TestOutlook shareOutlook(std::uint64_t sectors, std::uint32_t sectorBytes) {
    return foreseeShare({sectors, sectorBytes}, transfers);
}
template <unsigned transfers>
quix5::TestOutlook rangeOutlook(std::uint64_t sectors, std::uint32_t sectorBytes) {
    return foreseeRange({sectors, sectorBytes}, transfers);
}
template <unsigned moves>
quix5::TestOutlook movesOutlook(std::uint64_t sectors, std::uint32_t sectorBytes) {
    return foreseeMoves({sectors, sectorBytes}, moves);
}
inline quix5::TestOutlook readsAndWritesOutlook(std::uint64_t sectors, std::uint32_t sectorBytes) {
    return foreseeReadsAndWrites({sectors, sectorBytes});
}

}  // namespace libDriveTest
