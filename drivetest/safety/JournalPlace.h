#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace drivetest {

/// Where undo journals are kept when the user names no folder: one place per machine for root, one per user
/// for others.
std::string defaultJournalFolder();

/// Where the records of runs are kept for which the user names no file: beside the journals.
std::string defaultRecordFolder();

/// Where all users of the machine register their open journals. The environment variable DRIVETEST_STATE, an
/// absolute path, names the folder that holds it, and root's journals too.
std::string defaultRegisterFolder();

/// The text as one word of a command line, as the shell of this system takes it.
std::string shellWord(const std::string& text);

/// The command that puts back what a journal in that folder holds, in quotes; the folder is named unless it
/// is the default one.
std::string recoverCommand(const std::string& locator, const std::string& folder);

/// What to tell before a run whose journal wears the disk that it lies on: lines for people, none for a small
/// test or a folder in memory.
std::vector<std::string> journalCostLines(std::uint64_t testedBytes, const std::string& folder);

}  // namespace drivetest
