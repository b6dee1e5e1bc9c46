#pragma once

#include <cstdint>
#include <memory>

#include "libDrive2/BlockHandle.h"
#include "libDrive2/DriveIdentity.h"
#include "zel/Array.h"
#include "zel/Export.h"
#include "zel/String.h"

namespace libDrive2 {

/// An open journal file. As long as the object lives, other processes see the journal in use. The file is
/// held by its descriptor: what happens to its path meanwhile does not lead elsewhere.
class DRIVETEST_API JournalFile {
public:
    virtual ~JournalFile() = default;
    [[nodiscard]] virtual const zel::String& path() const = 0;
    /// Shared; use it no longer than this object lives.
    [[nodiscard]] virtual SharedBlockHandle handle() const = 0;
    /// Deletes the file, durably. False with a reason, and nothing is deleted, when its name leads to another
    /// file by now.
    virtual bool remove(zel::String& reason) = 0;
};

/// A name in a folder that says "journal".
struct FoundJournal {
    zel::String path{};
    zel::String problem{};  ///< why it cannot be used as one, whatever it holds; empty when it can
};

enum class JournalUse {
    missing,   ///< there is no such file
    free,      ///< nobody uses it
    used,      ///< another process, or another JournalFile, has it open
    unusable,  ///< not examined: it is no regular file, somebody else's, or in a folder that others can write
};

/// A journal as it can be read beside the one who uses it.
struct JournalLook {
    JournalUse use = JournalUse::unusable;
    zel::String problem{};              ///< of a journal that is missing or unusable
    std::unique_ptr<JournalFile> file;  ///< for reading; null when missing or unusable
};

/// The folder in which journals are kept. Everything may block as long as the file system does, but never for
/// another process. What fails gives the reason: what happened, to what, and what to do.
///
/// Journals hold what root reads and writes back to drives. So only regular files of this user with one name
/// are opened, in folders of this user or root that nobody else can write, sticky or not.
class DRIVETEST_API JournalFolder {
public:
    explicit JournalFolder(zel::String folder) : m_folder(std::move(folder)) {}

    /// Makes the folder (for its owner alone) where there is none, and in it the file NAME.journal, with room
    /// for all its bytes, durably. Null on failure, and no file is left.
    std::unique_ptr<JournalFile> create(const zel::String& name, std::uint64_t bytes, zel::String& reason);
    /// Opens a journal that nobody uses. Null on failure.
    static std::unique_ptr<JournalFile> open(const zel::String& path, zel::String& reason);
    /// Opens a journal for reading, whoever uses it; keeps those from it who want to write, if there are none
    /// yet.
    static JournalLook look(const zel::String& path);
    /// Whether a process has the file open as JournalFile. A file that cannot be examined counts as used.
    static bool isInUse(const zel::String& path);
    /// All journals, sorted by path, and whatever else is named like one. No folder means no journals; false
    /// when it cannot be searched, or others can write to it.
    bool list(zel::Array<FoundJournal>& journals, zel::String& reason) const;
    /// Their paths alone.
    bool list(zel::Array<zel::String>& paths, zel::String& reason) const;
    /// Deletes a journal, durably.
    static bool remove(const zel::String& path, zel::String& reason);

    /// Whether the folder (or where it is going to be made) is lost when the power is: it lies in memory, or
    /// on a file system that does.
    [[nodiscard]] bool isVolatile() const;
    /// What holds it, for people: "ext4 on /dev/sda1"; empty when that is not known.
    [[nodiscard]] zel::String fileSystem() const;
    /// Whether writing to the drive overwrites the file system that holds the folder: true, with a reason
    /// in which the drive has that name. False with a reason: that could not be found out to the end.
    bool isOnDrive(const DriveIdentity& drive, const zel::String& name, zel::String& reason) const;

private:
    zel::String m_folder;
};

}  // namespace libDrive2
