#pragma once

#include <memory>
#include <string>

#include "drivetest/ExitStatus.h"
#include "drivetest/safety/HeldDrive.h"
#include "drivetest/safety/JournalRegister.h"
#include "drivetest/safety/WatchedJournal.h"
#include "drivetest/terminal/Console.h"
#include "libDrive2/JournalFolder.h"
#include "libDrive2/UndoJournal.h"
#include "quix5/DiagDevice.h"

namespace drivetest {

/// How a run that writes is to be journaled.
struct JournalRequest {
    const quix5::DiagDevice& device;
    const HeldDrive& held;
    std::string folder;   ///< empty: the default one
    bool preserves;       ///< the test puts back what it overwrites
    bool wanted;          ///< in a file, to outlive a crash
    bool verifyRestores;  ///< read back what was put back
};

/// The undo journal of one run: its file is there as long as the drive may hold something else than its data.
class RunJournal {
public:
    RunJournal() = default;
    RunJournal(const RunJournal&) = delete;
    RunJournal& operator=(const RunJournal&) = delete;
    /// Deletes the file unless it holds what is not on the drive.
    ~RunJournal();

    /// Refuses, after a sentence that says why, a drive of which an interrupted run left data in a journal,
    /// and a run whose journal cannot be made; else gives kExitPass.
    ExitStatus prepare(const JournalRequest& request, Console& console);

    /// To attach to the drive; null when nothing is put back.
    [[nodiscard]] WatchedJournal* watched() const { return m_watched.get(); }
    /// The file; empty when there is none.
    [[nodiscard]] std::string path() const { return m_file ? m_file->path().utf8() : std::string(); }
    /// After the run: deletes the file when all is put back. Else keeps it, says what is left and what to do,
    /// and gives false.
    bool finish(const std::string& locator, Console& console);

private:
    ExitStatus refuseOpenJournals(const JournalRequest& request, Console& console);
    ExitStatus create(const JournalRequest& request, Console& console);
    bool createFile(const JournalRequest& request, zel::String& reason);
    ExitStatus announce(const JournalRequest& request, Console& console);
    void close(Console& console);
    void discard();
    void showUnrestored(const std::string& locator, Console& console) const;

    std::string m_folder;
    JournalRegister m_register;
    std::unique_ptr<libDrive2::JournalFile> m_file;
    std::unique_ptr<libDrive2::UndoJournal> m_journal;
    std::unique_ptr<WatchedJournal> m_watched;
};

}  // namespace drivetest
