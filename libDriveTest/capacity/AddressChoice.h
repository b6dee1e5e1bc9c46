#pragma once

#include <cstdint>
#include <vector>

namespace libDriveTest {

/// Fewer do not hold all that must be among them.
inline constexpr std::uint32_t kFewestAddresses = 256;
inline constexpr std::uint32_t kMostAddresses = 8192;

/// Addresses over all of a drive, rising, `most` of them or all that there are: both ends, powers of two and
/// the limits of interfaces with their neighbours, and random ones.
///
/// And two rows that find any period: multiples of a unit from 0 on, and further ones as far apart as that
/// row is long. A drive that repeats itself after a multiple of the unit has one of the second row where one
/// of the first is. The unit is 1 on drives of up to (3/8 most)^2 sectors, and a power of two on larger ones.
std::vector<std::uint64_t> chooseAddresses(std::uint64_t sectors, std::uint32_t sectorBytes,
                                           std::uint32_t most, std::uint64_t seed);

}  // namespace libDriveTest
