#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace drivetest {

/// Seconds of "90", "90s", "10min", "1h" or "2d"; nothing when it is no such text.
std::optional<std::uint32_t> secondsOf(std::string_view text);

}  // namespace drivetest
