#include "drivetest/safety/OpenJournals.h"

#include "libDrive2/JournalFolder.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

using libDrive2::DriveIdentity;
using libDrive2::JournalContents;
using libDrive2::JournalFolder;
using libDrive2::JournalState;
using libDrive2::JournalUse;

/// The register takes a journal only after its header is durable.
bool isSettled(const JournalContents& journal, bool wasRegistered) {
    return journal.isSettled() && (!wasRegistered || journal.state == JournalState::valid);
}

/// Of a journal that says nothing of its drive, it may be any.
bool mayConcern(const DriveIdentity& journaled, const DriveIdentity& drive) {
    const bool isKnown = !journaled.id.empty() || !journaled.storage.empty();
    return !isKnown || libDrive2::sharesStorage(journaled, drive);
}

void note(OpenJournals& found, RegisteredJournal journal, OpenJournalState state,
          const DriveIdentity& drive) {
    if (state == OpenJournalState::settled)
        found.settled.push_back(std::move(journal));
    else if (mayConcern(journal.drive, drive))
        found.open.push_back({std::move(journal), state});
}

void searchFolder(const std::string& folder, const std::set<std::string>& known, const DriveIdentity& drive,
                  OpenJournals& found) {
    zel::Array<libDrive2::FoundJournal> journals;
    zel::String reason;
    if (!JournalFolder(folder).list(journals, reason))
        found.problem = reason.utf8();
    for (const libDrive2::FoundJournal& listed : journals) {
        RegisteredJournal journal;
        journal.journal = registeredPath(listed.path.utf8());
        if (known.contains(journal.journal))
            continue;
        JournalContents contents;
        const auto state = stateOfJournal(journal.journal, false, &contents, journal.problem);
        // A run that has only just made its journal has protected nothing yet: it registers it first, then
        // looks for those of others. A missing one was deleted since the folder was listed.
        const bool isNew = state == OpenJournalState::busy && contents.state == JournalState::unused;
        journal.drive = contents.header.drive;
        if (!isNew && state != OpenJournalState::missing)
            note(found, std::move(journal), state, drive);
    }
}

}  // namespace

OpenJournalState stateOfJournal(const std::string& path, bool wasRegistered, JournalContents* contents,
                                std::string& problem) {
    const libDrive2::JournalLook seen = JournalFolder::look(path);
    problem = seen.problem.utf8();
    if (seen.file == nullptr)
        return seen.use == JournalUse::missing ? OpenJournalState::missing : OpenJournalState::unreadable;
    const bool isBusy = seen.use == JournalUse::used;
    if (isBusy && contents == nullptr)
        return OpenJournalState::busy;
    JournalContents read = libDrive2::readJournal(*seen.file->handle());
    OpenJournalState state = isBusy ? OpenJournalState::busy : OpenJournalState::unreadable;
    if (!isBusy && isSettled(read, wasRegistered))
        state = OpenJournalState::settled;
    else if (!isBusy && read.needsRecovery())
        state = OpenJournalState::open;
    if (state == OpenJournalState::unreadable)
        problem = words("what the journal {file} holds is not known: {reason}",
                        {{"file", path},
                         {"reason", read.state == JournalState::unused ? words("all that it held is gone")
                                                                       : read.problem.utf8()}});
    if (contents != nullptr)
        *contents = std::move(read);
    return state;
}

OpenJournals findOpenJournals(const DriveIdentity& drive, const JournalSearch& search,
                              const JournalRegister& registered) {
    OpenJournals found;
    std::vector<RegisteredJournal> journals;
    std::string problem;
    if (!registered.list(journals, problem))
        (RegisterFolder::isRequired() ? found.problem : found.warning) = problem;
    const std::string own = search.own.empty() ? "" : registeredPath(search.own);
    std::set<std::string> known{own};
    for (RegisteredJournal& journal : journals) {
        // What others say of a journal does not replace what its own header says.
        if (journal.owner == RegisterFolder::user())
            known.insert(journal.journal);
        if (!journal.problem.empty()) {
            found.open.push_back({std::move(journal), OpenJournalState::unreadable});
        } else if (journal.journal != own || own.empty()) {
            const auto state = stateOfJournal(journal.journal, true, nullptr, journal.problem);
            note(found, std::move(journal), state, drive);
        }
    }
    for (const std::string& folder : search.folders)
        searchFolder(folder, known, drive, found);
    return found;
}

bool discardSettled(const std::string& path, JournalRegister& registered, std::string& problem) {
    zel::String reason;
    const auto file = JournalFolder::open(path, reason);
    const bool mayGo =
        file != nullptr && isSettled(libDrive2::readJournal(*file->handle()), registered.knows(path));
    if (mayGo && !registered.remove(path, problem))
        return false;
    if (mayGo && file->remove(reason))
        return true;
    problem =
        reason.isEmpty() ? words("the journal {file} is needed by now", {{"file", path}}) : reason.utf8();
    return false;
}

}  // namespace drivetest
