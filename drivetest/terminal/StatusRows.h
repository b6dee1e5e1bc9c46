#pragma once

#include <string>
#include <vector>

namespace drivetest {

/// How a piece of the status stands out, where the terminal shows colours.
enum class Emphasis : unsigned char { none, strong, good, warning, bad, faint };

struct StatusPiece {
    std::string text;
    Emphasis emphasis = Emphasis::none;
};

using StatusRow = std::vector<StatusPiece>;
using StatusRows = std::vector<StatusRow>;

}  // namespace drivetest
