#pragma once

#include <string>
#include <vector>

#include "libDrive2/sim/optical/OpticalMedia.h"

namespace libDrive2 {

/// What a locator says of an optical drive besides what all kinds have.
struct SimOpticalOptions {
    /// The media, one after the other, that loads put in the drive; null for none.
    std::vector<const OpticalMediaType*> script{findOpticalMedia("cdrom")};
    OpticalState state = OpticalState::usual;
    bool tray = true;
    bool performance = true;  ///< GET PERFORMANCE is known
    bool writeSpeeds = true;  ///< and its write speeds
    bool strict = false;      ///< refuses what many drives refuse

    // Of the texts of keys; false when the text is no value.
    bool parseMedia(const std::string& text);
    bool parseState(const std::string& text);
    bool parsePerformance(const std::string& text);

    [[nodiscard]] bool hasReadOnlyMedium() const;
    /// Of the medium of the script that holds most; 1 when the script has none.
    [[nodiscard]] std::uint32_t largestSectors() const;
    /// What cannot be made; empty when all can.
    [[nodiscard]] std::string check(bool hasImage, bool sectorsGiven, std::uint64_t sectors) const;
};

}  // namespace libDrive2
