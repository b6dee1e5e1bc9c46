#pragma once

#include <cstdint>

namespace libDriveTest {

/// What a sample in which all is good says of the rest: with this certainty (above 0, below 1) fewer areas
/// than that are bad, of `areas` in all. 1 where nothing but none is left.
///
/// It holds however the bad areas lie, as long as the sample was drawn at random in strata of equal size, one
/// or several times over. Of a stratum with a share b of bad areas the draw misses them with 1-b; the product
/// over all strata is largest where every b is the same, by the inequality of arithmetic and geometric means.
/// So n draws miss K bad ones among A with (1-K/A)^n at most, and clusters are missed less often.
std::uint64_t excludedBadAreas(std::uint64_t areas, std::uint64_t samples, double certainty);

}  // namespace libDriveTest
