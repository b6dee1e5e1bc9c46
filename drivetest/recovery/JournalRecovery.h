#pragma once

#include <optional>
#include <string>

#include "drivetest/ExitStatus.h"
#include "drivetest/terminal/Console.h"
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
};

/// Puts back what one journal holds: finds its drive, takes it, recovers, and deletes the journal when all is
/// settled. Says what it does.
class JournalRecovery {
public:
    JournalRecovery(const RecoverOptions& options, std::string path, Console& console)
        : m_options(options), m_path(std::move(path)), m_console(console) {}

    /// kExitPass when nothing is left to do; else the journal is still there.
    ExitStatus run();
    /// After run(): whether the journal is not of the drive that the user named.
    [[nodiscard]] bool isOfOtherDrive() const { return m_isOfOtherDrive; }

private:
    ExitStatus fail(const std::string& sentence, ExitStatus status = kExitNotRestored);
    ExitStatus discard();
    ExitStatus recoverOn(const quix5::DiagDevice& device, const libDrive2::DriveIdentity& identity);
    ExitStatus settle(const libDrive2::RecoveryReport& report);
    void showHeader() const;
    void showFindings(const libDrive2::RecoveryReport& report) const;
    std::optional<quix5::DiagDevice> findItsDrive(libDrive2::DriveIdentity& identity,
                                                  std::string& problem) const;
    bool matches(const quix5::DiagDevice& device, libDrive2::DriveIdentity& identity,
                 std::string& problem) const;

    const RecoverOptions& m_options;
    std::string m_path;
    Console& m_console;
    std::unique_ptr<libDrive2::JournalFile> m_file;
    libDrive2::JournalContents m_journal;
    bool m_isOfOtherDrive = false;
};

}  // namespace drivetest
