#include "drivetest/safety/RegisterFolder.h"

#include <algorithm>
#include <filesystem>

#include "drivetest/safety/JournalPlace.h"
#include "libDrive2/linux/GuardedFolder.h"
#include "zel/Words.h"

namespace drivetest {

namespace fs = std::filesystem;

namespace {

using zel::words;

using libDrive2::GuardedFile;
using libDrive2::GuardedFolder;
using libDrive2::uninterrupted;
using Writers = GuardedFolder::Writers;
using Owner = GuardedFolder::Owner;

constexpr const char* kSuffix = ".open";
constexpr std::size_t kMostBytes = 64 << 10;
/// All may register, and nobody may take away what others registered.
constexpr mode_t kSharedMode = 01777;
constexpr mode_t kStateMode = 0755;

bool makeState(const fs::path& state, zel::String& reason) {
    std::error_code failed;
    if (!fs::is_directory(state, failed) && state.has_relative_path()) {
        if (!makeState(state.parent_path(), reason))
            return false;
        const int error = mkdir(state.c_str(), kStateMode) == 0 ? 0 : errno;
        if (error != 0 && error != EEXIST)
            return libDrive2::failWith(
                reason,
                words("the folder {folder} for the register of open journals could not be made",
                      {{"folder", state.string()}}),
                error);
    }
    return true;
}

/// A folder of journals was perhaps there first, made for its owner alone.
void letOthersThrough(const GuardedFolder& state, const std::string& path) {
    struct stat found {};
    if (path == defaultRegisterFolder() && fstat(state.descriptor(), &found) == 0 &&
        found.st_uid == geteuid())
        fchmod(state.descriptor(), (found.st_mode & 07777U) | kStateMode);
}

/// Also after a crash between making and sharing it.
void share(const GuardedFolder& folder) {
    struct stat found {};
    if (geteuid() == 0 && fstat(folder.descriptor(), &found) == 0 && found.st_uid == 0 &&
        (found.st_mode & 07777U) != kSharedMode)
        fchmod(folder.descriptor(), kSharedMode);
}

std::optional<GuardedFolder> openRegister(const std::string& path, bool make, zel::String& reason) {
    const fs::path full(path);
    if (make && !makeState(full.parent_path(), reason))
        return std::nullopt;
    const auto state = GuardedFolder::open(full.parent_path().string(), Writers::owner, reason);
    if (!state)
        return std::nullopt;
    const std::string name = full.filename().string();
    if (make) {
        letOthersThrough(*state, path);
        const int error = mkdirat(state->descriptor(), name.c_str(), S_IRWXU) == 0 ? 0 : errno;
        if (error == 0 && !state->sync(reason))
            return std::nullopt;
        if (error != 0 && error != EEXIST) {
            libDrive2::failWith(
                reason, words("the register of open journals {folder} could not be made", {{"folder", path}}),
                error);
            return std::nullopt;
        }
    }
    auto folder = state->openFolder(name, Writers::all, reason);
    if (folder && make)
        share(*folder);
    return folder;
}

void readEntry(const GuardedFile& file, RegisterEntry& entry) {
    if (static_cast<std::size_t>(file.found.st_size) > kMostBytes) {
        entry.problem = words("it is longer than an entry can be");
        return;
    }
    std::string text(kMostBytes + 1, '\0');
    std::size_t done = 0;
    ssize_t got = 1;
    while (got > 0 && done < text.size()) {
        got = uninterrupted([&] { return ::read(file.file.get(), text.data() + done, text.size() - done); });
        done += got > 0 ? static_cast<std::size_t>(got) : 0;
    }
    if (got < 0 || done > kMostBytes)
        entry.problem = words("it cannot be read");
    else
        entry.text = text.substr(0, done);
}

/// What an interrupted call left under the name; of others nothing can be left, but by intent.
void removeLeftover(const GuardedFolder& folder, const std::string& name) {
    zel::String ignored;
    const GuardedFile left = folder.openFile(name, O_RDONLY, Owner::user);
    if (left.file)
        folder.remove(name, left.file, ignored);
}

}  // namespace

bool RegisterFolder::write(const std::string& name, const std::string& text, std::string& problem) const {
    zel::String reason;
    const auto folder = openRegister(m_path, true, reason);
    const std::string draft = "." + name + ".new";
    bool isWritten = false;
    if (folder && text.size() > kMostBytes) {
        reason = words("what identifies the drive is too long for the register of open journals");
    } else if (folder) {
        removeLeftover(*folder, draft);
        const GuardedFile made = folder->createFile(draft, 0600);
        reason = made.problem;
        const std::string unwritten = words("{file} could not be written", {{"file", folder->pathOf(name)}});
        isWritten =
            made.file &&
            ((fchmod(made.file.get(), 0644) == 0 &&
              libDrive2::writeAllDurably(made.file.get(), text.data(), text.size()) &&
              renameat(folder->descriptor(), draft.c_str(), folder->descriptor(), name.c_str()) == 0) ||
             libDrive2::failWith(reason, unwritten, errno)) &&
            folder->sync(reason);
        if (!isWritten && made.file)
            removeLeftover(*folder, draft);
    }
    problem = isWritten ? "" : reason.utf8();
    return isWritten;
}

bool RegisterFolder::remove(const std::string& name, std::string& problem) const {
    zel::String reason;
    const auto folder = openRegister(m_path, false, reason);
    bool isRemoved = false;
    if (folder) {
        const GuardedFile file = folder->openFile(name, O_RDONLY, Owner::anybody);
        reason = file.problem;
        isRemoved = file.isMissing || (file.file && folder->remove(name, file.file, reason));
    }
    problem = isRemoved ? "" : reason.utf8();
    return isRemoved;
}

bool RegisterFolder::read(std::vector<RegisterEntry>& entries, std::string& problem) const {
    zel::String reason;
    const auto folder = openRegister(m_path, false, reason);
    if (!folder && errno == ENOENT)
        return true;
    std::vector<std::string> names;
    if (!folder || !folder->names(names, reason)) {
        problem = words("the register of open journals cannot be used: {reason}", {{"reason", reason}});
        return false;
    }
    for (const std::string& name : names) {
        if (!name.ends_with(kSuffix) || name.starts_with('.'))
            continue;
        const GuardedFile file = folder->openFile(name, O_RDONLY, Owner::anybody);
        if (file.isMissing)
            continue;
        RegisterEntry entry{name, "", std::to_string(file.found.st_uid),
                            geteuid() == 0 || geteuid() == file.found.st_uid};
        entry.problem = file.problem.utf8();
        if (file.file)
            readEntry(file, entry);
        entries.push_back(std::move(entry));
    }
    return true;
}

bool RegisterFolder::isRequired() {
    return geteuid() == 0;
}

std::string RegisterFolder::user() {
    return std::to_string(geteuid());
}

}  // namespace drivetest
