#include "drivetest/safety/RegisterFolder.h"

#include "drivetest/windows/MachineFolder.h"
#include "libDrive2/windows/Account.h"
#include "libDrive2/windows/GuardedFolder.h"
#include "zel/Path.h"
#include "zel/Words.h"
#include "zel/windows/SystemCalls.h"

namespace drivetest {

namespace {

using zel::words;

using libDrive2::Account;
using libDrive2::GuardedFile;
using libDrive2::GuardedFolder;
using Writers = GuardedFolder::Writers;
using Readers = GuardedFolder::Readers;
using Owner = GuardedFolder::Owner;

constexpr const char* kSuffix = ".open";
constexpr std::size_t kMostBytes = 64 << 10;
/// Only an empty folder can be made a link, which all who may make files in it could do.
constexpr const char* kNeverEmpty = ".register";

std::string parentOf(const std::string& path) {
    return zel::textOf(zel::pathOf(path).parent_path());
}

bool make(const std::string& path, zel::String& reason) {
    if (zel::pathExists(path))
        return true;
    if (parentOf(path) == machineFolder() && !RegisterFolder::isRequired()) {
        reason = words(
            "the register of open journals {folder} is not there yet: the first test that an administrator "
            "runs "
            "makes it",
            {{"folder", path}});
        return false;
    }
    return GuardedFolder::make(path, Writers::all, Readers::all, reason);
}

std::optional<GuardedFolder> openRegister(const std::string& path, bool isToBeMade, bool& isMissing,
                                          zel::String& reason) {
    isMissing = false;
    if (isToBeMade && !make(path, reason))
        return std::nullopt;
    const auto state = GuardedFolder::open(parentOf(path), Writers::owner, reason);
    isMissing = !state && GetLastError() == ERROR_PATH_NOT_FOUND;
    if (!state)
        return std::nullopt;
    auto folder = state->openFolder(zel::textOf(zel::pathOf(path).filename()), Writers::all, reason);
    isMissing = !folder && GetLastError() == ERROR_PATH_NOT_FOUND;
    if (folder && isToBeMade)
        (void)folder->createFile(kNeverEmpty, Readers::all);
    return folder;
}

void readEntry(const GuardedFile& file, RegisterEntry& entry) {
    if (file.bytes() > kMostBytes) {
        entry.problem = words("it is longer than an entry can be");
        return;
    }
    std::string text(kMostBytes + 1, '\0');
    std::size_t done = 0;
    DWORD got = 1;
    bool isRead = true;
    while (isRead && got > 0 && done < text.size()) {
        isRead = zel::SystemCalls::current().readFile(file.file.get(), text.data() + done,
                                                      static_cast<DWORD>(text.size() - done), &got,
                                                      nullptr) != FALSE;
        done += isRead ? got : 0;
    }
    if (!isRead || done > kMostBytes)
        entry.problem = words("it cannot be read");
    else
        entry.text = text.substr(0, done);
}

/// What an interrupted call left under the name; of others nothing can be left, but by intent.
void removeLeftover(const GuardedFolder& folder, const std::string& name) {
    zel::String ignored;
    GuardedFile left = folder.openFile(name, DELETE, Owner::user);
    if (left.file)
        folder.remove(name, left.file, ignored);
}

/// Written aside, so that nobody ever sees a part of it.
bool writeEntry(const GuardedFolder& folder, const std::string& name, const std::string& text,
                zel::String& reason) {
    const std::string draft = "." + name + ".new";
    removeLeftover(folder, draft);
    GuardedFile made = folder.createFile(draft, Readers::all);
    reason = made.problem;
    const std::string unwritten = words("{file} could not be written", {{"file", folder.pathOf(name)}});
    const bool isWritten = made.file &&
                           (libDrive2::writeAllDurably(made.file.get(), text.data(), text.size()) ||
                            libDrive2::failWith(reason, unwritten, GetLastError())) &&
                           folder.rename(made.file, name, reason) && folder.sync(reason);
    zel::String ignored;
    if (made.file && !isWritten)
        folder.remove(draft, made.file, ignored);
    return isWritten;
}

}  // namespace

bool RegisterFolder::write(const std::string& name, const std::string& text, std::string& problem) const {
    zel::String reason;
    bool isMissing = false;
    const auto folder = openRegister(m_path, true, isMissing, reason);
    bool isWritten = false;
    if (folder && text.size() > kMostBytes)
        reason = words("what identifies the drive is too long for the register of open journals");
    else if (folder)
        isWritten = writeEntry(*folder, name, text, reason);
    problem = isWritten ? "" : reason.utf8();
    return isWritten;
}

bool RegisterFolder::remove(const std::string& name, std::string& problem) const {
    zel::String reason;
    bool isMissing = false;
    const auto folder = openRegister(m_path, false, isMissing, reason);
    bool isRemoved = false;
    if (folder) {
        GuardedFile file = folder->openFile(name, DELETE, Owner::anybody);
        reason = file.problem;
        isRemoved = file.isMissing || (file.file && folder->remove(name, file.file, reason));
    }
    problem = isRemoved ? "" : reason.utf8();
    return isRemoved;
}

bool RegisterFolder::read(std::vector<RegisterEntry>& entries, std::string& problem) const {
    zel::String reason;
    bool isMissing = false;
    const auto folder = openRegister(m_path, false, isMissing, reason);
    if (isMissing)
        return true;
    std::vector<std::string> names;
    if (!folder || !folder->names(names, reason)) {
        problem = words("the register of open journals cannot be used: {reason}", {{"reason", reason}});
        return false;
    }
    const Account account = Account::current();
    for (const std::string& name : names) {
        if (!name.ends_with(kSuffix) || name.starts_with('.'))
            continue;
        const GuardedFile file = folder->openFile(name, GENERIC_READ, Owner::anybody);
        if (file.isMissing)
            continue;
        RegisterEntry entry{name, "", file.owner, account.isAdministrator || account.owner == file.owner};
        entry.problem = file.problem.utf8();
        if (file.file)
            readEntry(file, entry);
        entries.push_back(std::move(entry));
    }
    return true;
}

bool RegisterFolder::isRequired() {
    return Account::current().isAdministrator;
}

std::string RegisterFolder::user() {
    return Account::current().owner;
}

}  // namespace drivetest
