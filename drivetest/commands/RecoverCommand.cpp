#include <algorithm>
#include <memory>
#include <set>

#include "drivetest/commands/Commands.h"
#include "drivetest/devices/Drives.h"
#include "drivetest/safety/JournalPlace.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

/// Data that is still missing goes before what merely went wrong.
ExitStatus worse(ExitStatus a, ExitStatus b) {
    return a == kExitNotRestored || b == kExitPass ? a : b;
}

/// Without a folder: those in the usual one, and those that are registered, wherever they lie.
bool findJournals(const std::string& folder, std::set<std::string>& paths, std::string& problem) {
    zel::Array<zel::String> listed;
    zel::String reason;
    if (!libDrive2::JournalFolder(folder.empty() ? defaultJournalFolder() : folder).list(listed, reason)) {
        problem = reason.utf8();
        return false;
    }
    for (const zel::String& path : listed)
        paths.insert(registeredPath(path.utf8()));
    std::vector<RegisteredJournal> registered;
    if (!folder.empty())
        return true;
    if (!JournalRegister().list(registered, problem))
        complain(problem);
    for (const RegisteredJournal& journal : registered)
        if (!journal.problem.empty())
            complain(journal.problem);
        else if (journal.owner == RegisterFolder::user())
            paths.insert(journal.journal);
    return true;
}

/// All journals that were found, and what becomes of them.
class Recoveries {
public:
    Recoveries(const RecoverOptions& options, Console& console) : m_options(options), m_console(console) {}

    void begin(const std::set<std::string>& paths) {
        for (const std::string& path : paths) {
            auto recovery = std::make_unique<DriveRecovery>(m_options, path, m_console);
            m_status = worse(m_status, recovery->begin());
            if (recovery->isOpen())
                m_all.push_back(std::move(recovery));
        }
        // What a later run protected may be what an earlier one left.
        std::sort(m_all.begin(), m_all.end(), [](const auto& a, const auto& b) {
            return a->header().createdUnixMicros > b->header().createdUnixMicros;
        });
    }

    ExitStatus run() {
        std::size_t ofOthers = 0;
        for (std::size_t i = 0; i < m_all.size(); ++i) {
            const ExitStatus status = runUnlessNewerIsOpen(i);
            if (m_all[i]->isOfOtherDrive())
                ++ofOthers;
            else
                m_status = worse(m_status, status);
        }
        // Whoever named a drive for which there is nothing has named the wrong one.
        return ofOthers > 0 && ofOthers == m_all.size() ? kExitNotRestored : m_status;
    }

private:
    ExitStatus runUnlessNewerIsOpen(std::size_t index) {
        DriveRecovery& recovery = *m_all[index];
        for (std::size_t newer = 0; newer < index; ++newer)
            if (m_all[newer]->isOpen() && !m_options.dryRun &&
                libDrive2::sharesStorage(m_all[newer]->header().drive, recovery.header().drive)) {
                complain(
                    words("{journal} is of the same drive as {newer}, which is newer and has to be settled "
                          "first; it is left as it is",
                          {{"journal", recovery.path()}, {"newer", m_all[newer]->path()}}));
                return kExitNotRestored;
            }
        return recovery.run();
    }

    const RecoverOptions& m_options;
    Console& m_console;
    std::vector<std::unique_ptr<DriveRecovery>> m_all;
    ExitStatus m_status = kExitPass;
};

}  // namespace

int recoverDrives(const RecoverOptions& options) {
    std::set<std::string> paths;
    std::string problem;
    if (!options.device.empty() && !isThere(options.device, problem)) {
        complain(problem);
        return kExitUsage;
    }
    if (!findJournals(options.folder, paths, problem)) {
        complain(problem);
        return kExitCannotRun;
    }
    Console console(stdout);
    if (paths.empty()) {
        console.line(
            options.folder.empty()
                ? words("There is nothing to recover: {folder} holds no journals, and none is registered.",
                        {{"folder", defaultJournalFolder()}})
                : words("There is nothing to recover: {folder} holds no journals.",
                        {{"folder", options.folder}}));
        return kExitPass;
    }
    Recoveries recoveries(options, console);
    recoveries.begin(paths);
    return recoveries.run();
}

}  // namespace drivetest
