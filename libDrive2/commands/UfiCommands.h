#pragma once

#include <cstdint>
#include <optional>

#include "libDrive2/ScsiPassThrough.h"
#include "libDrive2/commands/Bytes.h"
#include "libDrive2/commands/ScsiAnswers.h"

namespace libDrive2::ufi {

/// Every command of the UFI set (UFI 1.0, 4) is 12 bytes long: pads what SPC and SBC make shorter.
ScsiRequest padded(ScsiRequest request);
ScsiRequest readFormatCapacities(std::uint16_t allocation);

struct FormatCapacity {
    enum class Medium : std::uint8_t { unformatted = 1, formatted = 2, none = 3 };
    Medium medium = Medium::none;
    scsi::Capacity capacity;  ///< the largest possible one for an unformatted medium; zeros without one
};
std::optional<FormatCapacity> parseFormatCapacities(Bytes answer);

}  // namespace libDrive2::ufi
