#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "libDrive2/DriveHealth.h"
#include "zel/Words.h"

namespace drivetest {

/// What the output of "smartctl --json -x" says of a drive.
struct SmartctlOutput {
    libDrive2::DriveHealth health{};
    std::string serial{};  ///< empty where it does not tell
};

/// Understands the forms of all releases that have such an output; what is not of the form that it should
/// have is left out. Nothing, with a sentence in `problem`, when the text is not such an output at all, or
/// tells of an error and of nothing else.
std::optional<SmartctlOutput> parseSmartctl(std::string_view text, zel::Wording& problem);

}  // namespace drivetest
