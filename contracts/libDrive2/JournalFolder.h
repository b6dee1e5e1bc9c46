#pragma once

#include <cstdint>
#include <memory>

#include "libDrive2/BlockHandle.h"
#include "libDrive2/DriveIdentity.h"
#include "zel/Array.h"
#include "zel/String.h"

namespace libDrive2 {

/// An open journal file. As long as the object lives, other processes see the journal in use.
class JournalFile {
public:
    virtual ~JournalFile() = default;
    [[nodiscard]] virtual const zel::String& path() const = 0;
    /// Shared; use it no longer than this object lives.
    [[nodiscard]] virtual SharedBlockHandle handle() const = 0;
};

/// The folder in which journals are kept. Everything may block as long as the file system does. What fails
/// gives the reason: what happened, to what, and what to do.
class JournalFolder {
public:
    explicit JournalFolder(zel::String folder) : m_folder(std::move(folder)) {}

    /// Makes the folder (for its owner alone) where there is none, and in it the file NAME.journal, with room
    /// for all its bytes, durably. Null on failure, and no file is left.
    std::unique_ptr<JournalFile> create(const zel::String& name, std::uint64_t bytes, zel::String& reason);
    /// Opens a journal that nobody uses. Null on failure.
    static std::unique_ptr<JournalFile> open(const zel::String& path, zel::String& reason);
    /// Whether a process has the file open as JournalFile. A file that cannot be examined counts as used.
    static bool isInUse(const zel::String& path);
    /// The paths of all journals, sorted. No folder means no journals; false when it cannot be read.
    bool list(zel::Array<zel::String>& paths, zel::String& reason) const;
    /// Deletes the file, durably.
    static bool remove(const zel::String& path, zel::String& reason);

    /// Whether the folder (or where it is going to be made) is lost when the power is.
    [[nodiscard]] bool isVolatile() const;
    /// Whether writing to the drive overwrites the file system that holds the folder: true, with a reason
    /// in which the drive has that name. False with a reason: that could not be found out to the end.
    bool isOnDrive(const DriveIdentity& drive, const zel::String& name, zel::String& reason) const;

private:
    zel::String m_folder;
};

}  // namespace libDrive2
