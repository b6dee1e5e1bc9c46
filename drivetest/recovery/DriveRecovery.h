#pragma once

#include <optional>
#include <string>

#include "drivetest/ExitStatus.h"
#include "drivetest/safety/OpenJournals.h"
#include "drivetest/terminal/Console.h"
#include "libDrive2/DeviceLease.h"
#include "libDrive2/JournalFolder.h"
#include "libDrive2/JournalRecovery.h"
#include "quix5/DiagDevice.h"

namespace drivetest {

/// What the user asked of "drivetest recover".
struct RecoverOptions {
    std::string device;        ///< only this drive; empty for all
    std::string folder;        ///< of the journals; empty for the default one
    std::string exportFolder;  ///< empty for the journals' folder
    bool dryRun = false;
    bool force = false;  ///< overwrite what others wrote since, after it was exported
};

/// A drive in hand and what is known of it.
struct LeasedDrive {
    quix5::DiagDevice device;
    std::unique_ptr<libDrive2::DeviceLease> lease;
};

/// Puts back what one journal holds: finds its drive, takes it, recovers, and deletes the journal when all is
/// settled. Says what it does.
class DriveRecovery {
public:
    DriveRecovery(const RecoverOptions& options, std::string path, Console& console)
        : m_options(options), m_path(std::move(path)), m_console(console) {}

    /// Reads the journal; one that proves to be settled is deleted. run() is only for one that isOpen() then.
    ExitStatus begin();
    /// kExitPass when nothing is left to do; else the journal is still there.
    ExitStatus run();
    /// Whether the journal holds what is to be put back.
    [[nodiscard]] bool isOpen() const { return m_isOpen; }
    [[nodiscard]] const std::string& path() const { return m_path; }
    [[nodiscard]] const libDrive2::JournalHeader& header() const { return m_journal.header; }
    /// After run(): whether the journal is not of the drive that the user named.
    [[nodiscard]] bool isOfOtherDrive() const { return m_isOfOtherDrive; }

private:
    ExitStatus fail(const std::string& sentence, ExitStatus status = kExitNotRestored);
    ExitStatus discard();
    ExitStatus recoverOn(LeasedDrive& found);
    ExitStatus settle(const libDrive2::RecoveryReport& report, const std::string& path);
    void showHeader() const;
    void showFindings(const libDrive2::RecoveryReport& report) const;
    void showKept(const libDrive2::RecoveryReport& report, const std::string& path) const;
    std::optional<LeasedDrive> findItsDrive(std::string& problem);
    std::optional<LeasedDrive> take(const std::string& locator, std::string& problem);
    [[nodiscard]] bool isItsDrive(const std::string& locator) const;

    const RecoverOptions& m_options;
    std::string m_path;
    Console& m_console;
    JournalRegister m_register;
    std::unique_ptr<libDrive2::JournalFile> m_file;
    libDrive2::JournalContents m_journal;
    bool m_isOpen = false;
    bool m_isBusy = false;
    bool m_isOfOtherDrive = false;
};

}  // namespace drivetest
