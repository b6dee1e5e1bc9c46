#pragma once

#include <string>

namespace drivetest {

/// Where undo journals are kept when the user names no folder: one place per machine for root, one per user
/// for others.
std::string defaultJournalFolder();

/// The command that puts back what a journal in that folder holds, in quotes; the folder is named unless it
/// is the default one.
std::string recoverCommand(const std::string& locator, const std::string& folder);

}  // namespace drivetest
