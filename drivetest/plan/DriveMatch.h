#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "quix5/DiagDevice.h"

namespace drivetest {

/// What drives are like that a plan does not name one by one. What is empty matches every drive.
struct DriveMatch {
    std::vector<std::string> kinds{};
    std::vector<std::string> buses{};
    std::string model{};  ///< with "*" and "?", in whatever case
    std::uint64_t leastBytes = 0;
    std::uint64_t mostBytes = std::numeric_limits<std::uint64_t>::max();

    [[nodiscard]] bool takes(const quix5::DiagDevice& device) const;
};

/// The names that kinds and buses have.
const std::vector<std::string>& driveKinds();
const std::vector<std::string>& driveBuses();

/// Of one drive; empty where nobody knows. "virtual" is what the system makes of files, memory or other
/// drives: no match takes such a drive unless it asks for that kind.
std::string kindOf(const quix5::DiagDevice& device);
std::string busOf(const quix5::DiagDevice& device);

/// Whether the pattern, in which "*" stands for any text and "?" for one character, fits all of the text.
bool fitsPattern(std::string_view pattern, std::string_view text);

}  // namespace drivetest
