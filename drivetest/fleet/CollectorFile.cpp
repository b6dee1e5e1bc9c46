#include "drivetest/fleet/CollectorFile.h"

#include <chrono>
#include <filesystem>
#include <random>
#include <system_error>
#include <utility>
#include <vector>

#include "drivetest/terminal/Texts.h"
#include "zel/Format.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;
namespace fs = std::filesystem;

constexpr const char* kPartEnd = ".part";
/// By then whoever has made it has begun to write, which can be seen.
constexpr std::chrono::hours kSurelyBegun{1};

bool isLeftBehind(const fs::path& file, const std::string& begin) {
    std::error_code unknown;
    const std::string name = zel::textOf(file.filename());
    const auto written = fs::last_write_time(file, unknown);
    return name.starts_with(begin) && name.ends_with(kPartEnd) && !unknown &&
           fs::symlink_status(file, unknown).type() == fs::file_type::regular &&
           fs::file_time_type::clock::now() - written > kSurelyBegun && !isBeingWritten(zel::textOf(file));
}

}  // namespace

CollectorFile::CollectorFile(const std::string& folder, const std::string& name)
    : m_path(zel::textOf(zel::pathOf(folder) / zel::pathOf(name))) {}

CollectorFile::~CollectorFile() {
    m_file = {};
    std::error_code ignored;
    if (!m_partPath.empty())
        fs::remove(zel::pathOf(m_partPath), ignored);
}

bool CollectorFile::refuse(const std::string& why) {
    m_problem = words("{file} cannot be written: {reason}", {{"file", printable(m_path)}, {"reason", why}});
    return false;
}

void CollectorFile::clearAway() const {
    const fs::path place = zel::pathOf(m_path);
    const std::string begin = zel::textOf(place.filename()) + ".";
    std::vector<fs::path> left;
    std::error_code failed;
    fs::directory_iterator entry(place.parent_path(), failed);
    for (const fs::directory_iterator end; !failed && entry != end; entry.increment(failed))
        if (isLeftBehind(entry->path(), begin))
            left.push_back(entry->path());
    for (const fs::path& each : left)
        fs::remove(each, failed);
}

bool CollectorFile::open() {
    std::error_code unknown;
    const fs::file_type type = fs::symlink_status(zel::pathOf(m_path), unknown).type();
    if (type != fs::file_type::regular && type != fs::file_type::not_found)
        return refuse(words("something that is no file has its name"));
    clearAway();
    std::random_device random;
    std::string part = m_path + zel::format(".%08x%08x", random(), random()).utf8() + kPartEnd;
    m_file = openOutput(words("the file of metrics"), part,
                        {[](const std::string&) { return std::string(); }, false}, m_problem);
    if (!m_file)
        return false;
    m_partPath = std::move(part);
    return m_file.begin() || refuse(words("the disk is full, or does not take it"));
}

bool CollectorFile::write(std::string_view part) {
    return m_file.write(part) || refuse(words("the disk is full, or does not take it"));
}

bool CollectorFile::keep() {
    if (!m_file.sync())
        return refuse(words("the disk is full, or does not take it"));
    m_file = {};
    std::error_code failed;
    fs::rename(zel::pathOf(m_partPath), zel::pathOf(m_path), failed);
    if (failed)
        return refuse(failed.message());
    m_partPath.clear();
    return true;
}

}  // namespace drivetest
