#include "drivetest/run/TemporaryFolder.h"

#include <filesystem>
#include <random>
#include <system_error>

#include "zel/Format.h"
#include "zel/Path.h"

namespace drivetest {

TemporaryFolder::TemporaryFolder() {
    std::error_code failed;
    const std::filesystem::path place = std::filesystem::temp_directory_path(failed);
    std::random_device random;
    const std::filesystem::path folder = place / zel::format("drivetest-%08x%08x", random(), random()).utf8();
    // Only one that is new: nobody else has prepared it, or can look into it.
    if (failed || !std::filesystem::create_directory(folder, failed) || failed)
        return;
    m_path = zel::textOf(folder);
    std::filesystem::permissions(folder, std::filesystem::perms::owner_all, failed);
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    if (!m_path.empty())
        std::filesystem::remove_all(zel::pathOf(m_path), ignored);
}

std::string TemporaryFolder::pathOf(const std::string& name) const {
    return zel::textOf(zel::pathOf(m_path) / zel::pathOf(name));
}

}  // namespace drivetest
