#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace libDrive2 {

/// The names in a FILE_FULL_DIR_INFO list, appended. False when the list leads out of itself.
bool appendNames(std::span<const std::uint8_t> list, std::vector<std::wstring>& names);

}  // namespace libDrive2
