#include <filesystem>
#include <vector>

#include "libDrive2/JournalFolder.h"
#include "libDrive2/windows/FilePlace.h"
#include "libDrive2/windows/GuardedFolder.h"
#include "libDrive2/windows/MountPoint.h"
#include "libDrive2/windows/StorageIds.h"
#include "libDrive2/windows/WindowsJournalFile.h"
#include "zel/Path.h"
#include "zel/Words.h"
#include "zel/windows/SystemCalls.h"
#include "zel/windows/Utf16.h"

namespace libDrive2 {

namespace fs = std::filesystem;

using zel::words;

namespace {

using zel::SystemCalls;
using Writers = GuardedFolder::Writers;
using Readers = GuardedFolder::Readers;
using Owner = GuardedFolder::Owner;

constexpr const char* kSuffix = ".journal";
constexpr DWORD kTakenOrNot = LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY;
constexpr DWORD kFullAccess = GENERIC_READ | GENERIC_WRITE | DELETE;

/// A journal's folder and file, as far as they could be opened.
struct Place {
    std::optional<GuardedFolder> folder;
    std::string name;
    GuardedFile file{};
};

Place findPlace(const zel::String& path, DWORD access, DWORD share) {
    std::error_code failed;
    const fs::path full = fs::absolute(zel::pathOf(path.utf8()), failed).lexically_normal();
    Place place{std::nullopt, zel::textOf(full.filename())};
    place.folder = GuardedFolder::open(zel::textOf(full.parent_path()), Writers::owner, place.file.problem);
    if (place.folder)
        place.file = place.folder->openFile(place.name, access, Owner::user, share);
    else
        place.file.isMissing = GetLastError() == ERROR_PATH_NOT_FOUND;
    return place;
}

bool lock(const zel::Handle& file, DWORD how) {
    OVERLAPPED place = placeAt(kLockedByte);
    return SystemCalls::current().lockFile(file.get(), how, 1, 0, &place) != FALSE;
}

/// Of a file that is open; `used` when it could not be locked as well.
JournalUse useOf(const GuardedFile& file) {
    if (!file.file)
        return file.isMissing ? JournalUse::missing : JournalUse::unusable;
    // A shared lock, so that two who look do not take each other for users.
    return lock(file.file, LOCKFILE_FAIL_IMMEDIATELY) ? JournalUse::free : JournalUse::used;
}

}  // namespace

std::unique_ptr<JournalFile> JournalFolder::create(const zel::String& name, std::uint64_t bytes,
                                                   zel::String& reason) {
    std::error_code failed;
    const fs::path full = fs::absolute(zel::pathOf(m_folder.utf8()), failed).lexically_normal();
    const std::string path = zel::textOf(full.has_filename() ? full : full.parent_path());
    if (!GuardedFolder::make(path, Writers::owner, Readers::owner, reason))
        return nullptr;
    auto folder = GuardedFolder::open(path, Writers::owner, reason);
    if (!folder)
        return nullptr;
    const std::string fileName = name.utf8() + kSuffix;
    GuardedFile made = folder->createFile(fileName, Readers::owner);
    if (!made.file) {
        reason = words("the journal {reason}", {{"reason", made.problem}});
        return nullptr;
    }
    bool isReady = lock(made.file, LOCKFILE_EXCLUSIVE_LOCK) ||
                   failWith(reason, words("{path} cannot be locked", {{"path", folder->pathOf(fileName)}}),
                            GetLastError());
    isReady = isReady && reserveRoom(made.file, *folder, fileName, bytes, reason) && folder->sync(reason);
    auto held = std::make_unique<WindowsJournalFile>(std::move(*folder), fileName, std::move(made.file));
    zel::String ignored;
    if (isReady && held->openHandle(true, reason))
        return held;
    held->remove(ignored);
    return nullptr;
}

std::unique_ptr<JournalFile> JournalFolder::open(const zel::String& path, zel::String& reason) {
    Place place = findPlace(path, kFullAccess, zel::kShareContents);
    const bool isOpen = place.folder && place.file.file;
    if (place.file.isInUse || (isOpen && !lock(place.file.file, kTakenOrNot))) {
        reason = words("the journal {path} is in use: wait for the run that writes it, or for its recovery",
                       {{"path", path}});
        return nullptr;
    }
    if (!isOpen) {
        reason = words("the journal cannot be used: {reason}", {{"reason", place.file.problem}});
        return nullptr;
    }
    auto held = std::make_unique<WindowsJournalFile>(std::move(*place.folder), place.name,
                                                     std::move(place.file.file));
    return held->openHandle(true, reason) ? std::move(held) : nullptr;
}

JournalLook JournalFolder::look(const zel::String& path) {
    Place place = findPlace(path, GENERIC_READ, zel::kShareAll);
    JournalLook seen{useOf(place.file), place.file.problem, nullptr};
    if (!place.folder || !place.file.file)
        return seen;
    auto held = std::make_unique<WindowsJournalFile>(std::move(*place.folder), place.name,
                                                     std::move(place.file.file));
    if (held->openHandle(false, seen.problem))
        seen.file = std::move(held);
    else
        seen.use = JournalUse::unusable;
    return seen;
}

bool JournalFolder::isInUse(const zel::String& path) {
    const JournalUse use = useOf(findPlace(path, GENERIC_READ, zel::kShareAll).file);
    return use == JournalUse::used || use == JournalUse::unusable;
}

bool JournalFolder::list(zel::Array<FoundJournal>& journals, zel::String& reason) const {
    const auto folder = GuardedFolder::open(m_folder.utf8(), Writers::owner, reason);
    std::vector<std::string> names;
    if (!folder && GetLastError() == ERROR_PATH_NOT_FOUND)
        return true;
    if (!folder || !folder->names(names, reason)) {
        reason = words("{folder} cannot be searched for journals: {reason}",
                       {{"folder", m_folder}, {"reason", reason}});
        return false;
    }
    for (const std::string& name : names) {
        if (!name.ends_with(kSuffix))
            continue;
        const GuardedFile file = folder->openFile(name, FILE_READ_ATTRIBUTES, Owner::user);
        if (!file.isMissing)
            journals.append({folder->pathOf(name), file.problem});
    }
    return true;
}

bool JournalFolder::list(zel::Array<zel::String>& paths, zel::String& reason) const {
    zel::Array<FoundJournal> journals;
    if (!list(journals, reason))
        return false;
    for (const FoundJournal& found : journals)
        paths.append(found.path);
    return true;
}

bool JournalFolder::remove(const zel::String& path, zel::String& reason) {
    Place place = findPlace(path, DELETE, zel::kShareAll);
    if (place.folder && place.file.file)
        return place.folder->remove(place.name, place.file.file, reason);
    reason = words("the journal is not deleted: {reason}", {{"reason", place.file.problem}});
    return false;
}

bool JournalFolder::isVolatile() const {
    const std::wstring mountPoint = mountPointOf(m_folder.utf8());
    return !mountPoint.empty() && SystemCalls::current().getDriveType(mountPoint) == DRIVE_RAMDISK;
}

zel::String JournalFolder::fileSystem() const {
    const std::wstring mountPoint = mountPointOf(m_folder.utf8());
    wchar_t label[MAX_PATH + 1];
    wchar_t name[MAX_PATH + 1];
    DWORD serial = 0;
    DWORD flags = 0;
    if (mountPoint.empty() ||
        SystemCalls::current().getVolumeInformation(mountPoint, label, MAX_PATH + 1, &serial, &flags, name,
                                                    MAX_PATH + 1) == FALSE)
        return {};
    return words("{type} on {device}",
                 {{"type", zel::fromWide(name)}, {"device", zel::textOf(fs::path(mountPoint))}});
}

bool JournalFolder::isOnDrive(const DriveIdentity& drive, const zel::String& name,
                              zel::String& reason) const {
    const std::string existing = zel::textOf(nearestExisting(m_folder.utf8()));
    const zel::Handle opened(SystemCalls::current().createFile(zel::longPath(existing), 0, zel::kShareAll,
                                                               OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS));
    DriveIdentity folder;
    if (opened)
        identifyStorage(opened.get(), WindowsTarget::of(opened.get(), existing), folder);
    if (sharesStorage(folder, drive)) {
        reason = words(
            "the folder {folder} for journals is stored on {drive}, the drive to be tested: choose a "
            "folder on another drive",
            {{"folder", m_folder}, {"drive", name}});
        return true;
    }
    if (folder.carriers.empty())
        reason = words("whether {folder} is stored on {drive} is not known: {reason}",
                       {{"folder", m_folder},
                        {"drive", name},
                        {"reason", words("the system does not tell what the folder is stored on")}});
    return false;
}

}  // namespace libDrive2
