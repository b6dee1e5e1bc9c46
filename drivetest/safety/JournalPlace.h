#pragma once

#include <string>

namespace drivetest {

/// Where undo journals are kept when the user names no folder: one place per machine for root, one per user
/// for others.
std::string defaultJournalFolder();

}  // namespace drivetest
