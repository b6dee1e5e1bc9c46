#include "drivetest/run/IdentityGuard.h"

#include <filesystem>
#include <system_error>

#include "drivetest/safety/JournalRegister.h"
#include "libDrive2/DeviceLease.h"
#include "libDrive2/JournalFolder.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using libDrive2::DriveIdentity;

/// The journal that the path leads to; empty when it leads to none.
std::string journalAt(const std::string& path, const std::string& folder) {
    zel::Array<zel::String> journals;
    zel::String ignored;
    for (const std::string& each : {defaultJournalFolder(), folder.empty() ? defaultJournalFolder() : folder})
        if (libDrive2::JournalFolder(each).list(journals, ignored))
            for (const zel::String& journal : journals)
                if (zel::isSameFile(path, journal.utf8()))
                    return journal.utf8();
    std::vector<RegisteredJournal> registered;
    std::string problem;
    (void)JournalRegister().list(registered, problem);
    for (const RegisteredJournal& entry : registered)
        if (zel::isSameFile(path, entry.journal) || zel::isSameFile(path, entry.file))
            return entry.journal;
    return {};
}

}  // namespace

std::optional<DriveIdentity> lookAt(const std::string& locator) {
    libDrive2::DeviceStatus failure;
    const auto lease = libDrive2::DeviceLease::take(locator, libDrive2::LeasePurpose::look, failure);
    return lease != nullptr ? std::optional(lease->identity()) : std::nullopt;
}

DataGuard guardIdentified(const std::string& locator, const std::optional<DriveIdentity>& identity,
                          const std::string& journalFolder) {
    return [locator, identity, journalFolder](const std::string& path) -> std::string {
        const auto file = lookAt(path);
        std::error_code none;
        if (identity && file && libDrive2::isKeptIn(*identity, *file))
            return std::filesystem::is_block_file(zel::pathOf(locator), none)
                       ? zel::words("it is the file behind {drive}, which is to be tested",
                                    {{"drive", locator}})
                       : zel::words("it is what is to be tested");
        const std::string journal = journalAt(path, journalFolder);
        return journal.empty()
                   ? journal
                   : zel::words("it is the undo journal {journal}, or speaks of it", {{"journal", journal}});
    };
}

}  // namespace drivetest
