#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "zel/Export.h"

namespace zel {

/// All that a file holds; nothing when it cannot be opened, or cannot be read to its end, as what the kernel
/// shows of a device that goes away meanwhile. Iterators over the stream's buffer would throw there. Blocks
/// while the file does.
DRIVETEST_API std::optional<std::string> readFile(const std::filesystem::path& path);

}  // namespace zel
