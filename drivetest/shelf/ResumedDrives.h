#pragma once

#include <string>
#include <vector>

#include "drivetest/commands/ResumeOptions.h"
#include "drivetest/shelf/ShelfWork.h"

namespace drivetest {

/// The runs that broke off with these records as work for a shelf: those of one drive, or of drives that
/// share a part, one after the other. Records that cannot be read any more are left out. Opens no drive.
ShelfWork shelfWorkOf(const ResumeOptions& options, const std::vector<std::string>& records);

}  // namespace drivetest
