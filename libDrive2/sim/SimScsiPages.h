#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "libDrive2/sim/SimMedium.h"

namespace libDrive2 {

// What a SCSI disk tells of itself, as it stands in its answers. Nothing for a page that it does not have.

using SimPage = std::vector<std::uint8_t>;

/// SPC-4, standard INQUIRY data.
SimPage standardInquiry(const SimMedium& medium);
/// SPC-4 and SBC-3, vital product data.
std::optional<SimPage> vitalProductData(std::uint8_t page, const SimMedium& medium,
                                        std::size_t maxTransferBytes);
/// SBC-3, mode pages 01h and 08h, or both as page 3Fh; without a header.
std::optional<SimPage> modePages(std::uint8_t page, const SimMedium& medium);
/// SPC-4 and SBC-3, log pages.
std::optional<SimPage> logPage(std::uint8_t page, const SimMedium& medium, SimHealth& health);

}  // namespace libDrive2
