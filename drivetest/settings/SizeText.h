#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace drivetest {

/// Bytes of "500", "4TB" (of 10^12), "512 GiB" (of 2^30); nothing when it is no such text.
std::optional<std::uint64_t> bytesOf(std::string_view text);

}  // namespace drivetest
