#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "drivetest/fleet/Fleet.h"

namespace drivetest {

/// All drives of a model with one firmware.
struct ModelFigures {
    std::string model{};
    std::string firmware{};
    std::size_t drives = 0;
    std::size_t drivesWithBad = 0;
    std::uint64_t badSectors = 0;
    std::optional<double> medianRate{};  ///< of reading, MB/s
};

/// Those with the most drives that have bad sectors come first.
std::vector<ModelFigures> figuresOfModels(const std::vector<FleetDrive>& drives);

/// A part of a drive that is slower than the same part of others of its model.
struct SlowPart {
    const FleetDrive* drive;
    std::uint64_t first;
    std::uint64_t last;
    double rate;   ///< MB/s
    double usual;  ///< the median of the model's drives
};

/// What held against each other says something: so many drives of a model and size.
inline constexpr std::size_t kFewestOfModel = 4;

/// The slowest part of each drive that is below four fifths of its model's; the slowest first. `compared` is
/// how many drives were held against others.
std::vector<SlowPart> slowParts(const std::vector<FleetDrive>& drives, std::size_t& compared);

}  // namespace drivetest
