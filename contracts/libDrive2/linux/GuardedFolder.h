#pragma once

#include <fcntl.h>
#include <sys/stat.h>

#include <optional>
#include <string>
#include <vector>

#include "libDrive2/linux/FileDescriptor.h"
#include "zel/Export.h"
#include "zel/String.h"

namespace libDrive2 {

/// A file of a GuardedFolder, or why there is none.
struct GuardedFile {
    FileDescriptor file{};
    struct stat found {};
    zel::String problem{};
    bool isMissing = false;
};

/// A folder whose files nobody else can put there, exchange or delete, and its files, which are reached
/// through its descriptor alone: what the path leads to later plays no part. Problems are sentences about the
/// folder or the file.
class DRIVETEST_API GuardedFolder {
public:
    enum class Writers {
        owner,  ///< this user or root, and nobody else
        all,    ///< others as well, but each can only delete his own (mode 01777)
    };
    enum class Owner { user, anybody };

    /// Empty on failure; errno is then ENOENT when there is no such folder.
    static std::optional<GuardedFolder> open(const std::string& path, Writers writers, zel::String& reason);
    /// The folder of that name in this one.
    std::optional<GuardedFolder> openFolder(const std::string& name, Writers writers,
                                            zel::String& reason) const;

    [[nodiscard]] const std::string& path() const { return m_path; }
    [[nodiscard]] int descriptor() const { return m_folder.get(); }
    [[nodiscard]] std::string pathOf(const std::string& name) const { return m_path + "/" + name; }

    /// All names in it but "." and "..", sorted. False after a reason.
    bool names(std::vector<std::string>& found, zel::String& reason) const;
    /// Opens a regular file with one name. Never waits for another process, as opening a FIFO would.
    [[nodiscard]] GuardedFile openFile(const std::string& name, int access, Owner owner) const;
    /// Makes a file that is not there yet; that it could be made is durable only after sync().
    [[nodiscard]] GuardedFile createFile(const std::string& name, mode_t mode) const;
    /// Deletes the name, durably, if it still leads to the file.
    bool remove(const std::string& name, const FileDescriptor& file, zel::String& reason) const;
    /// Makes durable what the folder lists.
    bool sync(zel::String& reason) const;

private:
    GuardedFolder(std::string path, FileDescriptor folder)
        : m_path(std::move(path)), m_folder(std::move(folder)) {}
    static std::optional<GuardedFolder> check(GuardedFolder folder, Writers writers, zel::String& reason);
    [[nodiscard]] GuardedFile tryOpen(const std::string& name, int access, Owner owner) const;
    [[nodiscard]] zel::String problemOf(const std::string& name, const struct stat& found, Owner owner) const;

    std::string m_path;
    FileDescriptor m_folder;
};

/// "WHAT: the system's words"; false, for the caller to return.
DRIVETEST_API bool failWith(zel::String& reason, const zel::String& what, int error);
/// Writes all at the descriptor's position, and makes it durable. False with errno.
DRIVETEST_API bool writeAllDurably(int file, const void* data, std::size_t bytes);

}  // namespace libDrive2
