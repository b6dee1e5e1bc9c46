#pragma once

#include <string>
#include <vector>

#include "drivetest/shelf/ShelfDrive.h"

namespace drivetest {

/// Writes the page that tells of all drives of a shelf and links their reports, which lie beside it. It needs
/// no other file. `notes` are said below. False after a sentence in `problem`.
[[nodiscard]] bool writeShelfReport(const std::vector<ShelfDrive>& drives,
                                    const std::vector<std::string>& notes, const std::string& path,
                                    std::string& problem);

}  // namespace drivetest
