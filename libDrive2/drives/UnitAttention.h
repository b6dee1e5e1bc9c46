#pragma once

#include <cstdint>

#include "libDrive2/ScsiPassThrough.h"
#include "libDrive2/commands/ScsiSense.h"

namespace libDrive2 {

/// What is mere news that a unit tells instead of executing a command (SPC-4, unit attention condition).
enum class News : std::uint8_t {
    ofUnit,    ///< a reset, changed modes, changed microcode
    ofMedium,  ///< a changed medium too: the answer to a question is about what is there now
};

struct AnsweredCommand {
    ScsiResponse response;
    scsi::Outcome outcome;
};

/// Sends a command, and again as long as the unit only had news to tell.
AnsweredCommand executePast(News news, ScsiPassThrough& device, const ScsiRequest& request);

}  // namespace libDrive2
