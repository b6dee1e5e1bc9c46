#include <fcntl.h>
#include <linux/magic.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statfs.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <vector>

#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/JournalFolder.h"
#include "libDrive2/linux/ErrnoError.h"
#include "libDrive2/linux/FileDescriptor.h"
#include "libDrive2/linux/LinuxBlockHandle.h"
#include "libDrive2/linux/StorageMap.h"
#include "zel/Format.h"

namespace libDrive2 {

namespace fs = std::filesystem;

namespace {

constexpr const char* kSuffix = ".journal";

class LinuxJournalFile : public JournalFile {
public:
    LinuxJournalFile(zel::String path, FileDescriptor lock, SharedBlockHandle handle)
        : m_path(std::move(path)), m_lock(std::move(lock)), m_handle(std::move(handle)) {}

    [[nodiscard]] const zel::String& path() const override { return m_path; }
    [[nodiscard]] SharedBlockHandle handle() const override { return m_handle; }

private:
    zel::String m_path;
    FileDescriptor m_lock;
    SharedBlockHandle m_handle;
};

bool fail(zel::String& reason, const zel::String& what, int error) {
    reason = what + ": " + errnoStatus(error).text;
    return false;
}

/// What a folder lists, as opposed to what its files hold.
bool syncFolder(const fs::path& folder, zel::String& reason) {
    const FileDescriptor opened(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return (opened && fsync(opened.get()) == 0) ||
           fail(reason, folder.string() + " could not be made durable", errno);
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
        return fail(reason, "the folder " + folder.string() + " for journals could not be made", errno);
    return parent.empty() || syncFolder(parent, reason);
}

/// Blocks as long as others look whether the file is used.
bool lockNew(const FileDescriptor& file) {
    int locked = -1;
    do
        locked = flock(file.get(), LOCK_EX);
    while (locked != 0 && errno == EINTR);
    return locked == 0;
}

bool reserve(const FileDescriptor& file, const fs::path& path, std::uint64_t bytes, zel::String& reason) {
    int error = EINTR;
    // Work that the kernel does for this thread interrupts it on some file systems, signals or not.
    while (error == EINTR)
        error = posix_fallocate(file.get(), 0, static_cast<off_t>(bytes));
    if (error == ENOSPC || error == EDQUOT || error == EFBIG) {
        std::error_code unknown;
        const fs::space_info space = fs::space(path.parent_path(), unknown);
        reason = zel::format(
            "the journal needs %u MiB in %s, which has %u MiB left: make room there, or choose another "
            "folder",
            (bytes + (1U << 20) - 1) >> 20, path.parent_path().string().c_str(),
            unknown ? std::uintmax_t{0} : space.available >> 20);
        return false;
    }
    if (error != 0)
        return fail(reason, "no room could be reserved for " + path.string(), error);
    return fsync(file.get()) == 0 || fail(reason, path.string() + " could not be made durable", errno);
}

std::unique_ptr<JournalFile> hold(const fs::path& path, FileDescriptor lock, zel::String& reason) {
    auto handle = LinuxBlockHandle::open(path.string(), kAccessRead | kAccessWrite, kShareRead | kShareWrite);
    if (handle == nullptr) {
        reason = lastOpenErrorStr();
        return nullptr;
    }
    return std::make_unique<LinuxJournalFile>(
        path.string(), std::move(lock), SharedBlockHandle(std::unique_ptr<BlockHandle>(std::move(handle))));
}

}  // namespace

std::unique_ptr<JournalFile> JournalFolder::create(const zel::String& name, std::uint64_t bytes,
                                                   zel::String& reason) {
    std::error_code failed;
    const fs::path folder = fs::absolute(m_folder.utf8(), failed).lexically_normal();
    if (!makeFolder(folder.has_filename() ? folder : folder.parent_path(), reason))
        return nullptr;
    const fs::path path = folder / (name.utf8() + kSuffix);
    FileDescriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!file || !lockNew(file)) {
        fail(reason, "the journal " + path.string() + " could not be made", errno);
        return nullptr;
    }
    std::unique_ptr<JournalFile> held;
    if (reserve(file, path, bytes, reason) && syncFolder(path.parent_path(), reason))
        held = hold(path, std::move(file), reason);
    if (held == nullptr)
        ::unlink(path.c_str());
    return held;
}

std::unique_ptr<JournalFile> JournalFolder::open(const zel::String& path, zel::String& reason) {
    FileDescriptor file(::open(path.utf8().c_str(), O_RDONLY | O_CLOEXEC));
    if (!file) {
        fail(reason, "the journal " + path + " cannot be opened", errno);
        return nullptr;
    }
    if (flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
        reason = "the journal " + path + " is in use: wait for the run that writes it, or for its recovery";
        return nullptr;
    }
    return hold(path.utf8(), std::move(file), reason);
}

bool JournalFolder::isInUse(const zel::String& path) {
    const FileDescriptor file(::open(path.utf8().c_str(), O_RDONLY | O_CLOEXEC));
    if (!file)
        return errno != ENOENT;
    // A shared lock, so that two who look do not take each other for users.
    return flock(file.get(), LOCK_SH | LOCK_NB) != 0;
}

bool JournalFolder::list(zel::Array<zel::String>& paths, zel::String& reason) const {
    std::error_code failed;
    std::vector<std::string> found;
    fs::directory_iterator entry(m_folder.utf8(), failed);
    for (; !failed && entry != fs::directory_iterator(); entry.increment(failed))
        if (entry->path().extension() == kSuffix)
            found.push_back(entry->path().string());
    if (failed && failed != std::errc::no_such_file_or_directory)
        return fail(reason, "the folder " + m_folder + " cannot be searched for journals", failed.value());
    std::sort(found.begin(), found.end());
    for (std::string& path : found)
        paths.append(path);
    return true;
}

bool JournalFolder::remove(const zel::String& path, zel::String& reason) {
    std::error_code failed;
    const fs::path file = fs::absolute(path.utf8(), failed);
    if (::unlink(file.c_str()) != 0)
        return fail(reason, "the journal " + path + " could not be deleted", errno);
    return syncFolder(file.parent_path(), reason);
}

bool JournalFolder::isVolatile() const {
    struct statfs found {};
    return statfs(nearestExisting(m_folder.utf8()).c_str(), &found) == 0 &&
           (found.f_type == TMPFS_MAGIC || found.f_type == RAMFS_MAGIC);
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
        reason = "the folder " + m_folder + " for journals is stored on " + name +
                 ", the drive to be tested: choose a folder on another drive";
        return true;
    }
    if (!map.problem().empty())
        reason = "whether " + m_folder + " is stored on " + name + " is not known: " + map.problem();
    return false;
}

}  // namespace libDrive2
