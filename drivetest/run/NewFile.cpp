#include "drivetest/run/NewFile.h"

#include <filesystem>
#include <system_error>

#include "drivetest/terminal/Texts.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

/// Whatever may be in its place: only a file that can be replaced.
std::string findObstacle(const std::string& path, bool mayReplace) {
    std::error_code unknown;
    const std::filesystem::path place = zel::pathOf(path);
    const std::filesystem::file_status status = std::filesystem::status(place, unknown);
    if (!std::filesystem::exists(status))
        return {};
    if (!std::filesystem::is_regular_file(status))
        return words("it is no file; name a file");
    if (!mayReplace && std::filesystem::file_size(place, unknown) > 0)
        return words("it holds something already; name a new file, or give --force to replace it");
    return {};
}

}  // namespace

NewFile::~NewFile() {
    m_file.close();
    std::error_code ignored;
    if (!m_partPath.empty())
        std::filesystem::remove(zel::pathOf(m_partPath), ignored);
}

bool NewFile::refuse(const std::string& why) {
    m_problem = words("{file} cannot be written: {reason}", {{"file", printable(m_path)}, {"reason", why}});
    return false;
}

bool NewFile::open() {
    if (const std::string obstacle = findObstacle(m_path, m_mayReplace); !obstacle.empty())
        return refuse(obstacle);
    const std::string part = m_path + ".part";
    if (zel::pathExists(part))
        return refuse(
            words("{part} is in the way; delete it, or name another file", {{"part", printable(part)}}));
    m_file.open(zel::pathOf(part), std::ios::binary | std::ios::trunc);
    if (!m_file.is_open())
        return refuse(words("its folder does not exist, or nothing can be written there"));
    m_partPath = part;
    return true;
}

bool NewFile::write(std::string_view part) {
    m_file.write(part.data(), static_cast<std::streamsize>(part.size()));
    return m_file.good() || refuse(words("the disk is full, or does not take it"));
}

bool NewFile::keep() {
    m_file.close();
    if (m_file.fail())
        return refuse(words("the disk is full, or does not take it"));
    std::error_code failed;
    std::filesystem::rename(zel::pathOf(m_partPath), zel::pathOf(m_path), failed);
    if (failed)
        return refuse(failed.message());
    m_partPath.clear();
    return true;
}

}  // namespace drivetest
