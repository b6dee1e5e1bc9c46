#pragma once

#include <string>

namespace drivetest {

/// A folder of its own for files that other programs make; goes with all it holds.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    /// Empty when it could not be made.
    [[nodiscard]] const std::string& path() const { return m_path; }
    [[nodiscard]] std::string pathOf(const std::string& name) const;

private:
    std::string m_path;
};

}  // namespace drivetest
