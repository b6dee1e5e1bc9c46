#include <sys/file.h>

#include <cerrno>
#include <filesystem>

#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/JournalFolder.h"
#include "libDrive2/linux/GuardedFolder.h"
#include "libDrive2/linux/LinuxBlockHandle.h"
#include "libDrive2/linux/MountTable.h"
#include "libDrive2/linux/StorageMap.h"
#include "zel/Format.h"
#include "zel/Words.h"

namespace libDrive2 {

namespace fs = std::filesystem;

using zel::words;

namespace {

using Writers = GuardedFolder::Writers;
using Owner = GuardedFolder::Owner;

constexpr const char* kSuffix = ".journal";

class LinuxJournalFile : public JournalFile {
public:
    LinuxJournalFile(GuardedFolder folder, std::string name, FileDescriptor file)
        : m_folder(std::move(folder)),
          m_name(std::move(name)),
          m_path(m_folder.pathOf(m_name)),
          m_file(std::move(file)) {}

    /// By the descriptor: the path could lead to another file by now.
    bool openHandle(std::uint32_t access, zel::String& reason) {
        auto handle = LinuxBlockHandle::open("/proc/self/fd/" + std::to_string(m_file.get()), access,
                                             kShareRead | kShareWrite);
        if (handle == nullptr) {
            reason = words("the journal {path} cannot be opened again: {reason}",
                           {{"path", m_path}, {"reason", lastOpenErrorStr()}});
            return false;
        }
        m_handle = SharedBlockHandle(std::unique_ptr<BlockHandle>(std::move(handle)));
        return true;
    }
    [[nodiscard]] const zel::String& path() const override { return m_path; }
    [[nodiscard]] SharedBlockHandle handle() const override { return m_handle; }
    bool remove(zel::String& reason) override { return m_folder.remove(m_name, m_file, reason); }

private:
    GuardedFolder m_folder;
    std::string m_name;
    zel::String m_path;
    FileDescriptor m_file;  ///< holds the lock
    SharedBlockHandle m_handle;
};

/// A journal's folder and file, as far as they could be opened.
struct Place {
    std::optional<GuardedFolder> folder;
    std::string name;
    GuardedFile file{};
};

Place findPlace(const zel::String& path, int access) {
    std::error_code failed;
    const fs::path full = fs::absolute(path.utf8(), failed).lexically_normal();
    Place place{std::nullopt, full.filename().string()};
    place.folder = GuardedFolder::open(full.parent_path().string(), Writers::owner, place.file.problem);
    if (place.folder)
        place.file = place.folder->openFile(place.name, access, Owner::user);
    else
        place.file.isMissing = errno == ENOENT;
    return place;
}

bool lock(const FileDescriptor& file, int how) {
    return uninterrupted([&] { return flock(file.get(), how); }) == 0;
}

/// Of a file that is open; `use` tells whether it could be locked as well.
JournalUse useOf(const GuardedFile& file) {
    if (!file.file)
        return file.isMissing ? JournalUse::missing : JournalUse::unusable;
    // A shared lock, so that two who look do not take each other for users.
    return lock(file.file, LOCK_SH | LOCK_NB) ? JournalUse::free : JournalUse::used;
}

/// Until the file is locked, somebody may take it for the journal of an ended run, and delete it.
GuardedFile makeLocked(const GuardedFolder& folder, const std::string& name) {
    GuardedFile made = folder.createFile(name, S_IRUSR | S_IWUSR);
    while (made.file) {
        if (!lock(made.file, LOCK_EX) || fstat(made.file.get(), &made.found) != 0) {
            failWith(made.problem, words("{path} cannot be locked", {{"path", folder.pathOf(name)}}), errno);
            made.file.reset();
        } else if (made.found.st_nlink == 0) {
            made = folder.createFile(name, S_IRUSR | S_IWUSR);
        } else {
            break;
        }
    }
    return made;
}

/// The folder, and those above it, each durable in the one above.
bool makeFolder(const fs::path& folder, zel::String& reason) {
    std::error_code failed;
    if (fs::is_directory(folder, failed))
        return true;
    const fs::path parent = folder.parent_path();
    if (parent != folder && !parent.empty() && !makeFolder(parent, reason))
        return false;
    if (mkdir(folder.c_str(), S_IRWXU) != 0 && errno != EEXIST)
        return failWith(
            reason,
            words("the folder {folder} for journals could not be made", {{"folder", folder.string()}}),
            errno);
    const FileDescriptor above(::open(parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return (above && uninterrupted([&] { return fsync(above.get()); }) == 0) ||
           failWith(reason, words("{path} could not be made durable", {{"path", parent.string()}}), errno);
}

bool reserve(const FileDescriptor& file, const std::string& path, std::uint64_t bytes, zel::String& reason) {
    int error = EINTR;
    // Work that the kernel does for this thread interrupts it on some file systems, signals or not.
    while (error == EINTR)
        error = posix_fallocate(file.get(), 0, static_cast<off_t>(bytes));
    if (error == ENOSPC || error == EDQUOT || error == EFBIG) {
        const fs::path folder = fs::path(path).parent_path();
        std::error_code unknown;
        const fs::space_info space = fs::space(folder, unknown);
        reason = words(
            "the journal needs {needed} MiB in {folder}, which has {left} MiB left: make room there, or "
            "choose "
            "another folder",
            {{"needed", (bytes + (1U << 20) - 1) >> 20},
             {"folder", folder.string()},
             {"left", unknown ? std::uintmax_t{0} : space.available >> 20}});
        return false;
    }
    if (error != 0)
        return failWith(reason, words("no room could be reserved for {path}", {{"path", path}}), error);
    return uninterrupted([&] { return fsync(file.get()); }) == 0 ||
           failWith(reason, words("{path} could not be made durable", {{"path", path}}), errno);
}

}  // namespace

std::unique_ptr<JournalFile> JournalFolder::create(const zel::String& name, std::uint64_t bytes,
                                                   zel::String& reason) {
    std::error_code failed;
    const fs::path full = fs::absolute(m_folder.utf8(), failed).lexically_normal();
    const fs::path path = full.has_filename() ? full : full.parent_path();
    if (!makeFolder(path, reason))
        return nullptr;
    auto folder = GuardedFolder::open(path.string(), Writers::owner, reason);
    if (!folder)
        return nullptr;
    const std::string fileName = name.utf8() + kSuffix;
    GuardedFile made = makeLocked(*folder, fileName);
    if (!made.file) {
        reason = words("the journal {reason}", {{"reason", made.problem}});
        return nullptr;
    }
    const bool isReady = reserve(made.file, folder->pathOf(fileName), bytes, reason) && folder->sync(reason);
    auto held = std::make_unique<LinuxJournalFile>(std::move(*folder), fileName, std::move(made.file));
    zel::String ignored;
    if (isReady && held->openHandle(kAccessRead | kAccessWrite, reason))
        return held;
    held->remove(ignored);
    return nullptr;
}

std::unique_ptr<JournalFile> JournalFolder::open(const zel::String& path, zel::String& reason) {
    Place place = findPlace(path, O_RDWR);
    if (!place.folder || !place.file.file) {
        reason = words("the journal cannot be used: {reason}", {{"reason", place.file.problem}});
        return nullptr;
    }
    if (!lock(place.file.file, LOCK_EX | LOCK_NB)) {
        reason = words("the journal {path} is in use: wait for the run that writes it, or for its recovery",
                       {{"path", path}});
        return nullptr;
    }
    auto held =
        std::make_unique<LinuxJournalFile>(std::move(*place.folder), place.name, std::move(place.file.file));
    return held->openHandle(kAccessRead | kAccessWrite, reason) ? std::move(held) : nullptr;
}

JournalLook JournalFolder::look(const zel::String& path) {
    Place place = findPlace(path, O_RDONLY);
    JournalLook seen{useOf(place.file), place.file.problem, nullptr};
    if (!place.folder || !place.file.file)
        return seen;
    auto held =
        std::make_unique<LinuxJournalFile>(std::move(*place.folder), place.name, std::move(place.file.file));
    if (held->openHandle(kAccessRead, seen.problem))
        seen.file = std::move(held);
    else
        seen.use = JournalUse::unusable;
    return seen;
}

bool JournalFolder::isInUse(const zel::String& path) {
    const JournalUse use = useOf(findPlace(path, O_RDONLY).file);
    return use == JournalUse::used || use == JournalUse::unusable;
}

bool JournalFolder::list(zel::Array<FoundJournal>& journals, zel::String& reason) const {
    const auto folder = GuardedFolder::open(m_folder.utf8(), Writers::owner, reason);
    std::vector<std::string> names;
    if (!folder && errno == ENOENT)
        return true;
    if (!folder || !folder->names(names, reason)) {
        reason = words("{folder} cannot be searched for journals: {reason}",
                       {{"folder", m_folder}, {"reason", reason}});
        return false;
    }
    for (const std::string& name : names) {
        if (fs::path(name).extension() != kSuffix)
            continue;
        const GuardedFile file = folder->openFile(name, O_RDONLY, Owner::user);
        if (!file.isMissing)
            journals.append({(fs::path(m_folder.utf8()) / name).string(), file.problem});
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
    const Place place = findPlace(path, O_RDONLY);
    if (place.folder && place.file.file)
        return place.folder->remove(place.name, place.file.file, reason);
    reason = words("the journal is not deleted: {reason}", {{"reason", place.file.problem}});
    return false;
}

bool JournalFolder::isVolatile() const {
    const fs::path existing = nearestExisting(m_folder.utf8());
    struct stat found {};
    return stat(existing.c_str(), &found) == 0 && StorageMap().of(found, existing).isVolatile;
}

zel::String JournalFolder::fileSystem() const {
    std::error_code failed;
    const auto mount = mountAbove(fs::weakly_canonical(m_folder.utf8(), failed));
    return mount ? words("{type} on {device}", {{"type", mount->type}, {"device", mount->source}})
                 : std::string();
}

bool JournalFolder::isOnDrive(const DriveIdentity& drive, const zel::String& name,
                              zel::String& reason) const {
    const fs::path existing = nearestExisting(m_folder.utf8());
    struct stat found {};
    StorageMap map;
    DriveIdentity folder;
    if (stat(existing.c_str(), &found) == 0) {
        StorageMap::View view = map.of(found, existing.string());
        folder.storage = std::move(view.storage);
        folder.carriers = std::move(view.carriers);
    }
    if (sharesStorage(folder, drive)) {
        reason = words(
            "the folder {folder} for journals is stored on {drive}, the drive to be tested: choose a "
            "folder on another drive",
            {{"folder", m_folder}, {"drive", name}});
        return true;
    }
    if (!map.problem().empty())
        reason = words("whether {folder} is stored on {drive} is not known: {reason}",
                       {{"folder", m_folder}, {"drive", name}, {"reason", map.problem()}});
    return false;
}

}  // namespace libDrive2
