#include "drivetest/commands/Commands.h"
#include "drivetest/safety/JournalPlace.h"

namespace drivetest {

namespace {

/// Data that is still missing goes before what merely went wrong.
ExitStatus worse(ExitStatus a, ExitStatus b) {
    return a == kExitNotRestored || b == kExitPass ? a : b;
}

}  // namespace

int recoverDrives(const RecoverOptions& options) {
    const std::string folder = options.folder.empty() ? defaultJournalFolder() : options.folder;
    zel::Array<zel::String> paths;
    zel::String reason;
    if (!libDrive2::JournalFolder(folder).list(paths, reason)) {
        complain(reason.utf8());
        return kExitCannotRun;
    }
    Console console(stdout);
    if (paths.isEmpty()) {
        console.line("There is nothing to recover: " + folder + " holds no journals.");
        return kExitPass;
    }
    ExitStatus status = kExitPass;
    for (const zel::String& path : paths)
        status = worse(status, JournalRecovery(options, path.utf8(), console).run());
    return status;
}

}  // namespace drivetest
