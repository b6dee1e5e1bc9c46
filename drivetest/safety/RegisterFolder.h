#pragma once

#include <string>
#include <vector>

namespace drivetest {

/// A file of the register.
struct RegisterEntry {
    std::string name{};
    std::string text{};
    std::string owner{};     ///< as the system numbers users
    bool mayRemove = false;  ///< by this user
    std::string problem{};   ///< why it was not read; empty when it was
};

/// The folder that all users of a machine share. Each can add files, and delete his own only. Files that
/// others put there are opened as something that is meant to do harm: never followed, never waited for,
/// never long.
class RegisterFolder {
public:
    explicit RegisterFolder(std::string path) : m_path(std::move(path)) {}

    [[nodiscard]] const std::string& path() const { return m_path; }
    /// Writes the file as a whole, durably; makes the folder where there is none yet.
    bool write(const std::string& name, const std::string& text, std::string& problem) const;
    bool remove(const std::string& name, std::string& problem) const;
    /// All entries, sorted by name. No folder means no entries; false when it cannot be trusted or searched.
    bool read(std::vector<RegisterEntry>& entries, std::string& problem) const;

    /// Whether this user can always have a register, so that none is an error: root, or
    /// an administrator.
    static bool isRequired();
    /// The user who runs this program.
    static std::string user();

private:
    std::string m_path;
};

}  // namespace drivetest
