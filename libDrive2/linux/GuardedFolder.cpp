#include "libDrive2/linux/GuardedFolder.h"

#include <dirent.h>

#include <algorithm>
#include <memory>

#include "libDrive2/linux/ErrnoError.h"
#include "zel/Format.h"
#include "zel/Words.h"

namespace libDrive2 {

using zel::words;

namespace {

constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
constexpr int kFileFlags = O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;

struct CloseFolder {
    void operator()(DIR* folder) const { closedir(folder); }
};

std::string kindOf(mode_t mode) {
    if (S_ISLNK(mode))
        return words("a symbolic link");
    if (S_ISFIFO(mode))
        return words("a FIFO");
    if (S_ISDIR(mode))
        return words("a folder");
    return S_ISSOCK(mode) ? words("a socket") : words("a device");
}

std::string nameOf(uid_t user) {
    return "uid " + std::to_string(user);
}

bool isSameFile(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

}  // namespace

bool failWith(zel::String& reason, const zel::String& what, int error) {
    reason = words("{problem}: {reason}", {{"problem", what}, {"reason", errnoStatus(error).text}});
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
        failWith(reason, words("the folder {folder} cannot be opened", {{"folder", name}}), error);
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
        failWith(reason, words("the folder {folder} cannot be opened", {{"folder", pathOf(name)}}), error);
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
        reason = words(
            "the folder {folder} belongs to another user ({user}), who could exchange its files: choose one "
            "of "
            "your own",
            {{"folder", folder.m_path}, {"user", nameOf(found.st_uid)}});
        return std::nullopt;
    }
    const bool isWritable = (found.st_mode & (S_IWGRP | S_IWOTH)) != 0;
    const bool isSticky = (found.st_mode & S_ISVTX) != 0;
    if (isWritable && (writers == Writers::owner || !isSticky)) {
        reason = words(
            "others can write to the folder {folder} (mode {mode}): take that right from them, or choose a "
            "folder "
            "of your own",
            {{"folder", folder.m_path}, {"mode", zel::format("%04o", found.st_mode & 07777U)}});
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
        return failWith(reason, words("the folder {folder} cannot be searched", {{"folder", m_path}}), errno);
    again.release();
    errno = 0;
    while (const dirent* const entry = readdir(folder.get())) {
        const std::string name = static_cast<const char*>(entry->d_name);
        if (name != "." && name != "..")
            found.push_back(name);
    }
    if (errno != 0)
        return failWith(reason, words("the folder {folder} cannot be searched", {{"folder", m_path}}), errno);
    std::sort(found.begin(), found.end());
    return true;
}

zel::String GuardedFolder::problemOf(const std::string& name, const struct stat& found, Owner owner) const {
    const std::string path = pathOf(name);
    if (!S_ISREG(found.st_mode))
        return words("{path} is {kind} and no file: it was not opened; take it away",
                     {{"path", path}, {"kind", kindOf(found.st_mode)}});
    if (owner == Owner::user && found.st_uid != geteuid())
        return words("{path} belongs to another user ({user}): only that user can use or delete it",
                     {{"path", path}, {"user", nameOf(found.st_uid)}});
    if (found.st_nlink > 1)
        return words(
            "{path} has {n} names (hard links), so others may write to it: it is not used; leave it one "
            "name",
            {{"path", path}, {"n", found.st_nlink}});
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
        failWith(opened.problem, words("{path} cannot be opened", {{"path", pathOf(name)}}), errno);
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
        failWith(made.problem, words("{path} could not be made", {{"path", pathOf(name)}}), errno);
    return made;
}

bool GuardedFolder::remove(const std::string& name, const FileDescriptor& file, zel::String& reason) const {
    const zel::String what = words("{path} could not be deleted", {{"path", pathOf(name)}});
    struct stat opened {};
    struct stat named {};
    if (fstat(file.get(), &opened) != 0 ||
        fstatat(m_folder.get(), name.c_str(), &named, AT_SYMLINK_NOFOLLOW) != 0)
        return failWith(reason, what, errno);
    if (!isSameFile(opened, named)) {
        reason = words(
            "{problem}: {reason}",
            {{"problem", what}, {"reason", words("another file has taken its name; look at it yourself")}});
        return false;
    }
    if (unlinkat(m_folder.get(), name.c_str(), 0) != 0)
        return failWith(reason, what, errno);
    return sync(reason);
}

bool GuardedFolder::sync(zel::String& reason) const {
    return uninterrupted([this] { return fsync(m_folder.get()); }) == 0 ||
           failWith(reason, words("{path} could not be made durable", {{"path", m_path}}), errno);
}

}  // namespace libDrive2
