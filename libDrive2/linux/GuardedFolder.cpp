#include "libDrive2/linux/GuardedFolder.h"

#include <dirent.h>

#include <algorithm>
#include <memory>

#include "libDrive2/linux/ErrnoError.h"
#include "zel/Format.h"

namespace libDrive2 {

namespace {

constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
constexpr int kFileFlags = O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;

struct CloseFolder {
    void operator()(DIR* folder) const { closedir(folder); }
};

const char* kindOf(mode_t mode) {
    if (S_ISLNK(mode))
        return "a symbolic link";
    if (S_ISFIFO(mode))
        return "a FIFO";
    if (S_ISDIR(mode))
        return "a folder";
    return S_ISSOCK(mode) ? "a socket" : "a device";
}

bool isSameFile(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

}  // namespace

bool failWith(zel::String& reason, const zel::String& what, int error) {
    reason = what + ": " + errnoStatus(error).text;
    return false;
}

bool writeAllDurably(int file, const void* data, std::size_t bytes) {
    const char* left = static_cast<const char*>(data);
    while (bytes > 0) {
        const ssize_t written = uninterrupted([&] { return ::write(file, left, bytes); });
        if (written < 0)
            return false;
        left += written;
        bytes -= static_cast<std::size_t>(written);
    }
    return uninterrupted([&] { return fsync(file); }) == 0;
}

std::optional<GuardedFolder> GuardedFolder::open(const std::string& path, Writers writers,
                                                 zel::String& reason) {
    const std::string name = path.empty() ? "." : path;
    FileDescriptor folder(uninterrupted([&] { return ::open(name.c_str(), kFolderFlags); }));
    if (!folder) {
        const int error = errno;
        failWith(reason, "the folder " + zel::String(name) + " cannot be opened", error);
        errno = error;
        return std::nullopt;
    }
    return check(GuardedFolder(name, std::move(folder)), writers, reason);
}

std::optional<GuardedFolder> GuardedFolder::openFolder(const std::string& name, Writers writers,
                                                       zel::String& reason) const {
    FileDescriptor folder(
        uninterrupted([&] { return openat(m_folder.get(), name.c_str(), kFolderFlags | O_NOFOLLOW); }));
    if (!folder) {
        const int error = errno;
        failWith(reason, "the folder " + zel::String(pathOf(name)) + " cannot be opened", error);
        errno = error;
        return std::nullopt;
    }
    return check(GuardedFolder(pathOf(name), std::move(folder)), writers, reason);
}

std::optional<GuardedFolder> GuardedFolder::check(GuardedFolder folder, Writers writers,
                                                  zel::String& reason) {
    struct stat found {};
    const bool isKnown = fstat(folder.m_folder.get(), &found) == 0;
    errno = EPERM;
    if (!isKnown || (found.st_uid != geteuid() && found.st_uid != 0)) {
        reason = zel::format(
            "the folder %s belongs to another user (uid %u), who could exchange its files: choose one of "
            "your own",
            folder.m_path.c_str(), found.st_uid);
        return std::nullopt;
    }
    const bool isWritable = (found.st_mode & (S_IWGRP | S_IWOTH)) != 0;
    const bool isSticky = (found.st_mode & S_ISVTX) != 0;
    if (isWritable && (writers == Writers::owner || !isSticky)) {
        reason = zel::format(
            "others can write to the folder %s (mode %04o): take that right from them, or choose a folder "
            "of your own",
            folder.m_path.c_str(), found.st_mode & 07777U);
        return std::nullopt;
    }
    return folder;
}

bool GuardedFolder::names(std::vector<std::string>& found, zel::String& reason) const {
    found.clear();
    // A descriptor of its own, as reading a folder moves a position.
    FileDescriptor again(uninterrupted([&] { return openat(m_folder.get(), ".", kFolderFlags); }));
    const std::unique_ptr<DIR, CloseFolder> folder(again ? fdopendir(again.get()) : nullptr);
    if (folder == nullptr)
        return failWith(reason, "the folder " + zel::String(m_path) + " cannot be searched", errno);
    again.release();
    errno = 0;
    while (const dirent* const entry = readdir(folder.get())) {
        const std::string name = static_cast<const char*>(entry->d_name);
        if (name != "." && name != "..")
            found.push_back(name);
    }
    if (errno != 0)
        return failWith(reason, "the folder " + zel::String(m_path) + " cannot be searched", errno);
    std::sort(found.begin(), found.end());
    return true;
}

zel::String GuardedFolder::problemOf(const std::string& name, const struct stat& found, Owner owner) const {
    const std::string path = pathOf(name);
    if (!S_ISREG(found.st_mode))
        return zel::format("%s is %s and no file: it was not opened; take it away", path.c_str(),
                           kindOf(found.st_mode));
    if (owner == Owner::user && found.st_uid != geteuid())
        return zel::format("%s belongs to another user (uid %u): only that user can use or delete it",
                           path.c_str(), found.st_uid);
    if (found.st_nlink > 1)
        return zel::format(
            "%s has %u names (hard links), so others may write to it: it is not used; leave it one name",
            path.c_str(), found.st_nlink);
    return {};
}

GuardedFile GuardedFolder::openFile(const std::string& name, int access, Owner owner) const {
    GuardedFile opened = tryOpen(name, access, owner);
    // Its name went to another file, or away, while it was opened.
    while (opened.file && opened.found.st_nlink == 0)
        opened = tryOpen(name, access, owner);
    return opened;
}

GuardedFile GuardedFolder::tryOpen(const std::string& name, int access, Owner owner) const {
    GuardedFile opened;
    // Before opening, which does something to some devices, and after it, as the name may change meanwhile.
    if (fstatat(m_folder.get(), name.c_str(), &opened.found, AT_SYMLINK_NOFOLLOW) == 0) {
        opened.problem = problemOf(name, opened.found, owner);
        if (!opened.problem.isEmpty())
            return opened;
        opened.file = FileDescriptor(
            uninterrupted([&] { return openat(m_folder.get(), name.c_str(), access | kFileFlags); }));
    }
    if (!opened.file || fstat(opened.file.get(), &opened.found) != 0) {
        opened.isMissing = errno == ENOENT;
        failWith(opened.problem, zel::String(pathOf(name)) + " cannot be opened", errno);
        opened.file.reset();
        return opened;
    }
    opened.problem = problemOf(name, opened.found, owner);
    if (!opened.problem.isEmpty())
        opened.file.reset();
    return opened;
}

GuardedFile GuardedFolder::createFile(const std::string& name, mode_t mode) const {
    GuardedFile made;
    made.file = FileDescriptor(uninterrupted(
        [&] { return openat(m_folder.get(), name.c_str(), O_RDWR | O_CREAT | O_EXCL | kFileFlags, mode); }));
    if (!made.file || fstat(made.file.get(), &made.found) != 0)
        failWith(made.problem, zel::String(pathOf(name)) + " could not be made", errno);
    return made;
}

bool GuardedFolder::remove(const std::string& name, const FileDescriptor& file, zel::String& reason) const {
    const zel::String what = zel::String(pathOf(name)) + " could not be deleted";
    struct stat opened {};
    struct stat named {};
    if (fstat(file.get(), &opened) != 0 ||
        fstatat(m_folder.get(), name.c_str(), &named, AT_SYMLINK_NOFOLLOW) != 0)
        return failWith(reason, what, errno);
    if (!isSameFile(opened, named)) {
        reason = what + ": another file has taken its name; look at it yourself";
        return false;
    }
    if (unlinkat(m_folder.get(), name.c_str(), 0) != 0)
        return failWith(reason, what, errno);
    return sync(reason);
}

bool GuardedFolder::sync(zel::String& reason) const {
    return uninterrupted([this] { return fsync(m_folder.get()); }) == 0 ||
           failWith(reason, zel::String(m_path) + " could not be made durable", errno);
}

}  // namespace libDrive2
