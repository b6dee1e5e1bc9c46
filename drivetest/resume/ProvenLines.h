#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace drivetest {

/// How far a record proves itself: up to the last of its lines of progress whose digest is that of all bytes
/// before it and of the line.
struct ProvenLines {
    std::size_t bytes = 0;     ///< of the lines that are proven, 0 for none
    std::string sha256{};      ///< of these
    std::size_t damaged = 0;   ///< the number of the first line behind them that is damaged; 0 for none
    bool hasEnded = false;     ///< a line tells of the end of the run
    bool hasVerdict = false;   ///< ... and that it came to a verdict
    bool hasProgress = false;  ///< there is a line of progress, proven or not
};

ProvenLines findProven(std::string_view record);

}  // namespace drivetest
