#pragma once

#include <optional>
#include <string>
#include <vector>

#include "zel/Export.h"
#include "zel/String.h"
#include "zel/windows/Handle.h"

namespace libDrive2 {

/// A file of a GuardedFolder, or why there is none.
struct GuardedFile {
    zel::Handle file{};
    // Of one that was opened:
    BY_HANDLE_FILE_INFORMATION found{};
    std::string owner{};  ///< the security identifier
    zel::String problem{};
    bool isMissing = false;
    bool isInUse = false;  ///< somebody has it open, and does not let others have it so

    [[nodiscard]] std::uint64_t bytes() const {
        return (std::uint64_t{found.nFileSizeHigh} << 32) | found.nFileSizeLow;
    }
};

/// A folder whose files nobody else can put there, exchange or delete, and its files, which are reached
/// through its handle alone. As long as it is held, nobody can rename or replace it. Nobody else: besides
/// this user, the administrators and the system, who can take everything anyway. Problems are sentences about
/// the folder or the file. Names are UTF-8.
class DRIVETEST_API GuardedFolder {
public:
    enum class Writers {
        owner,  ///< this user and nobody else
        all,    ///< others as well, but each can only delete his own
    };
    enum class Readers { owner, all };
    enum class Owner { user, anybody };

    /// Empty on failure; GetLastError() is then ERROR_PATH_NOT_FOUND when there is no such folder.
    static std::optional<GuardedFolder> open(const std::string& path, Writers writers, zel::String& reason);
    /// Makes the folder where there is none, and those above it, which others may look into.
    static bool make(const std::string& path, Writers writers, Readers readers, zel::String& reason);
    /// The folder of that name in this one.
    std::optional<GuardedFolder> openFolder(const std::string& name, Writers writers,
                                            zel::String& reason) const;

    [[nodiscard]] const std::string& path() const { return m_path; }
    [[nodiscard]] HANDLE handle() const { return m_folder.get(); }
    [[nodiscard]] std::string pathOf(const std::string& name) const;

    /// All names in it but "." and "..", sorted. False after a reason.
    bool names(std::vector<std::string>& found, zel::String& reason) const;
    /// Opens a regular file with one name, to which no link leads.
    [[nodiscard]] GuardedFile openFile(const std::string& name, DWORD access, Owner owner,
                                       DWORD share = zel::kShareAll) const;
    /// Makes a file that is not there yet, which others can read at most where they can read what the folder
    /// holds. It is open for reading, writing, renaming and deleting, and nobody else can rename or delete it
    /// meanwhile. That it could be made is durable only after sync().
    [[nodiscard]] GuardedFile createFile(const std::string& name, Readers readers) const;
    /// Gives a file, open for deleting, another name, in place of one that has it.
    bool rename(const zel::Handle& file, const std::string& name, zel::String& reason) const;
    /// Deletes the file, open for deleting, under whatever name it has by now, durably; then closes it. Where
    /// another process has it open still, the name may stay until that closes it, too.
    bool remove(const std::string& name, zel::Handle& file, zel::String& reason) const;
    /// Makes durable what the folder lists.
    bool sync(zel::String& reason) const;

private:
    GuardedFolder(std::string path, zel::Handle folder)
        : m_path(std::move(path)), m_folder(std::move(folder)) {}
    static std::optional<GuardedFolder> check(GuardedFolder folder, Writers writers, zel::String& reason);
    void examine(const std::string& name, Owner owner, GuardedFile& opened) const;

    std::string m_path;
    zel::Handle m_folder;
};

/// "WHAT: the system's words"; false, for the caller to return.
DRIVETEST_API bool failWith(zel::String& reason, const zel::String& what, DWORD error);
/// Writes all at the handle's position, and makes it durable. False with GetLastError().
DRIVETEST_API bool writeAllDurably(HANDLE file, const void* data, std::size_t bytes);

}  // namespace libDrive2
