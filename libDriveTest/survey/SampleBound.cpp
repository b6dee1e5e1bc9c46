#include "SampleBound.h"

#include <algorithm>
#include <cmath>

namespace libDriveTest {

std::uint64_t excludedBadAreas(std::uint64_t areas, std::uint64_t samples, double certainty) {
    if (samples == 0)
        return areas + 1;
    // 1-(1-c)^(1/n), without losing the digits of a number near to 0.
    const double share = -std::expm1(std::log1p(-certainty) / static_cast<double>(samples));
    const double bound = std::ceil(share * static_cast<double>(areas));
    return std::clamp<std::uint64_t>(static_cast<std::uint64_t>(bound), 1, areas + 1);
}

}  // namespace libDriveTest
