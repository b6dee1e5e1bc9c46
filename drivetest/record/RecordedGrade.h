#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "zel/Words.h"

namespace drivetest {

/// What a run made of a drive by a file of limits.
struct RecordedGrade {
    /// Why it is no better.
    struct Reason {
        char grade = 'F';     ///< what the drive gets for this alone
        std::string limit{};  ///< its key in the file
        double found = 0;
        double allowed = 0;                                                ///< by the next better grade
        std::optional<std::pair<std::uint64_t, std::uint64_t>> sectors{};  ///< where
    };

    std::string file{};                  ///< of the limits; "default" for those of the program
    char grade = 0;                      ///< 'A' to 'F'; 0 for none
    std::vector<Reason> reasons{};       ///< the worst first
    std::vector<std::string> unknown{};  ///< keys of limits of which the record does not tell
    zel::Wording problem{};              ///< why there is none; empty for none
};

inline constexpr char kBestGrade = 'A';
inline constexpr char kWorstGrade = 'F';

}  // namespace drivetest
