#pragma once

#include <set>
#include <string>
#include <vector>

#include "drivetest/safety/JournalRegister.h"
#include "libDrive2/UndoJournal.h"

namespace drivetest {

enum class OpenJournalState {
    settled,     ///< was read, and nothing in it is open
    open,        ///< holds data that is to be put back
    busy,        ///< a run or a recovery uses it
    unreadable,  ///< what it holds is not known
    missing,     ///< is not there now; its disk may not be mounted
};

struct OpenJournal {
    RegisteredJournal journal{};
    OpenJournalState state = OpenJournalState::unreadable;
};

struct OpenJournals {
    std::vector<OpenJournal> open{};           ///< of the drive, or perhaps of it
    std::vector<RegisteredJournal> settled{};  ///< of any drive: may be deleted
    std::string problem{};                     ///< why there may be more, which nobody could find: refuse
    std::string warning{};  ///< the same of a register that is not this user's to make: go on
};

struct JournalSearch {
    std::set<std::string> folders{};  ///< beside the register's: for journals that are not registered
    std::string own{};                ///< a journal of this run, which is not looked at
};

/// What a journal is now. Its contents are read unless they are not wanted (null) and somebody uses it. One
/// that was registered had begun, so that an empty one is damaged.
OpenJournalState stateOfJournal(const std::string& path, bool wasRegistered,
                                libDrive2::JournalContents* contents, std::string& problem);

/// The journals that keep a run off the drive: all that are not settled and share storage with it, and those
/// of which that is not known. Reads each of them; waits for nobody.
OpenJournals findOpenJournals(const libDrive2::DriveIdentity& drive, const JournalSearch& search,
                              const JournalRegister& registered);

/// Deletes a journal and its entry, if the journal still proves to be settled when nobody else can write to
/// it. False, and nothing is lost, when it does not.
bool discardSettled(const std::string& path, JournalRegister& registered, std::string& problem);

}  // namespace drivetest
