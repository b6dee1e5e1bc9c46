#pragma once

#include <cstdint>
#include <optional>

#include "libDrive2/MmcTypes.h"
#include "libDrive2/commands/MmcParameters.h"

namespace libDrive2 {

/// How a kind of medium is written (MMC-6, 4: the models of the media).
struct RecordingMethod {
    enum class Access : std::uint8_t {
        none,        ///< not by this class
        sequential,  ///< each sector once, behind the one before
        random,      ///< sectors of a formatted medium, any number of times
    };
    Access access = Access::none;
    std::uint32_t unitSectors = 1;                   ///< written together
    bool takesOnce = false;                          ///< random access, but each sector once
    bool jumpsLayers = false;                        ///< the drive tells where each unit goes
    bool oneSession = false;                         ///< closing it closes the medium for good
    std::optional<BlankType> blanking;               ///< makes a written medium empty again
    std::uint16_t needsFeature = 0;                  ///< else a blank medium is to be blanked, too
    std::optional<mmc::WriteParameters> parameters;  ///< nothing for media that take none
    bool parametersMatter = true;                    ///< else a drive may refuse them
};

}  // namespace libDrive2
