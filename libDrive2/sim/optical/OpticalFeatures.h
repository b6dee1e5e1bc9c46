#pragma once

#include "libDrive2/sim/optical/OpticalUnit.h"

namespace libDrive2 {

/// The features from a number on that the drive has (MMC-6, GET CONFIGURATION), one descriptor after the
/// other.
struct OpticalFeatureQuery {
    std::uint16_t first;
    bool onlyFirst;    ///< the one with this number
    bool onlyCurrent;  ///< those that the medium makes current
};
std::vector<std::uint8_t> describeFeatures(const OpticalUnit& unit, OpticalFeatureQuery query);

}  // namespace libDrive2
