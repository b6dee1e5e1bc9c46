#pragma once

#include <filesystem>

namespace libDrive2 {

/// Whether what is stored there is lost when the power is: its file system lies in memory, by itself, by the
/// layer of an overlay that takes the writes, or by the file behind a loop device; or it gives up its writes
/// for speed. False too where that cannot be seen.
bool isInMemory(const std::filesystem::path& folder);

}  // namespace libDrive2
