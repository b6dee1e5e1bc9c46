#pragma once

#include <string>
#include <vector>

#include "drivetest/safety/JournalPlace.h"
#include "drivetest/safety/RegisterFolder.h"
#include "libDrive2/DriveIdentity.h"

namespace drivetest {

/// A journal that its run has not settled, as the register knows it.
struct RegisteredJournal {
    std::string file{};     ///< of the entry; empty for a journal that is not registered
    std::string journal{};  ///< full path
    libDrive2::DriveIdentity drive{};
    std::string owner{};    ///< who registered it, as the system numbers users
    std::string problem{};  ///< why the entry or the journal cannot be used; empty when it can
};

/// All journals of a machine that are open, whatever folders they lie in and whoever ran.
class JournalRegister {
public:
    explicit JournalRegister(const std::string& folder = defaultRegisterFolder()) : m_folder(folder) {}

    /// Registers a journal, durably, before its run writes to the drive. False with a problem; a user who is
    /// not root may go on with that as a warning.
    bool add(const std::string& journalPath, const libDrive2::DriveIdentity& drive, std::string& problem);
    /// When the journal is settled, and before it is deleted: so a crash leaves no entry without a journal.
    bool remove(const std::string& journalPath, std::string& problem);
    /// Whether a journal has an entry.
    [[nodiscard]] bool knows(const std::string& journalPath) const;
    /// All entries, also those that cannot be used. False when there may be more.
    bool list(std::vector<RegisteredJournal>& journals, std::string& problem) const;

private:
    RegisterFolder m_folder;
};

/// The path by which the register knows a journal: absolute, its folder without links.
std::string registeredPath(const std::string& journalPath);

}  // namespace drivetest
