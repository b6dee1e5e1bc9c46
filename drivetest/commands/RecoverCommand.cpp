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
    ExitStatus ofTheDrive = kExitPass;
    std::size_t ofOthers = 0;
    for (const zel::String& path : paths) {
        JournalRecovery recovery(options, path.utf8(), console);
        const ExitStatus status = recovery.run();
        if (recovery.isOfOtherDrive())
            ++ofOthers;
        else
            ofTheDrive = worse(ofTheDrive, status);
    }
    // Whoever named a drive for which there is nothing has named the wrong one.
    return ofOthers == paths.size() ? kExitNotRestored : ofTheDrive;
}

}  // namespace drivetest
