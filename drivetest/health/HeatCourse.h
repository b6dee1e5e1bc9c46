#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

namespace drivetest {

/// How warm a drive was in the course of a run, in degrees Celsius, and what became of that.
struct HeatCourse {
    std::int64_t lowest = 0;
    std::int64_t highest = 0;
    std::int64_t last = 0;
    std::optional<std::int64_t> limit{};  ///< beyond which it had to rest
    std::uint64_t rests = 0;
    std::chrono::seconds rested{0};
};

}  // namespace drivetest
