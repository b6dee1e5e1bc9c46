#pragma once

#include "libDrive2/JournalFolder.h"
#include "libDrive2/windows/GuardedFolder.h"
#include "libDrive2/windows/JournalHandle.h"

namespace libDrive2 {

/// Its file's handle holds the lock, and keeps others from renaming and deleting the file.
class WindowsJournalFile : public JournalFile {
public:
    WindowsJournalFile(GuardedFolder folder, std::string name, zel::Handle file)
        : m_folder(std::move(folder)),
          m_name(std::move(name)),
          m_path(m_folder.pathOf(m_name)),
          m_file(std::move(file)) {}

    bool openHandle(bool writable, zel::String& reason);
    [[nodiscard]] const zel::String& path() const override { return m_path; }
    [[nodiscard]] SharedBlockHandle handle() const override { return m_handle; }
    bool remove(zel::String& reason) override;

private:
    GuardedFolder m_folder;
    std::string m_name;
    zel::String m_path;
    zel::Handle m_file;
    SharedBlockHandle m_handle;
    JournalHandle* m_journal = nullptr;  ///< the same
};

/// Gives a new, empty file so many bytes of zeros, durably.
bool reserveRoom(const zel::Handle& file, const GuardedFolder& folder, const std::string& name,
                 std::uint64_t bytes, zel::String& reason);

}  // namespace libDrive2
