#include "libDrive2/linux/SysfsBlock.h"

#include <sys/sysmacros.h>

#include <cstdio>
#include <fstream>

namespace libDrive2 {

namespace fs = std::filesystem;

std::string readLine(const fs::path& file) {
    std::ifstream stream(file);
    std::string line;
    std::getline(stream, line);
    return line;
}

dev_t SysfsBlock::numberIn(const fs::path& folder) {
    unsigned majorNumber = 0;
    unsigned minorNumber = 0;
    if (std::sscanf(readLine(folder / "dev").c_str(), "%u:%u", &majorNumber, &minorNumber) != 2)
        return 0;
    return makedev(majorNumber, minorNumber);
}

SysfsBlock::SysfsBlock(dev_t number) {
    const fs::path link =
        "/sys/dev/block/" + std::to_string(major(number)) + ":" + std::to_string(minor(number));
    std::error_code failed;
    m_folder = fs::canonical(link, failed);
    if (failed)
        m_folder.clear();
}

dev_t SysfsBlock::number() const {
    return m_folder.empty() ? 0 : numberIn(m_folder);
}

std::string SysfsBlock::name() const {
    return m_folder.filename().string();
}

bool SysfsBlock::isPartition() const {
    std::error_code ignored;
    return !m_folder.empty() && fs::exists(m_folder / "partition", ignored);
}

fs::path SysfsBlock::diskFolder() const {
    return isPartition() ? m_folder.parent_path() : m_folder;
}

bool SysfsBlock::isRemovable() const {
    return !m_folder.empty() && readLine(diskFolder() / "removable") == "1";
}

bool SysfsBlock::isOptical() const {
    return !m_folder.empty() && readLine(diskFolder() / "device" / "type") == "5";
}

bool SysfsBlock::isVirtual() const {
    return m_folder.string().starts_with("/sys/devices/virtual/block/");
}

std::string SysfsBlock::attribute(const char* name) const {
    return m_folder.empty() ? std::string() : readLine(m_folder / name);
}

std::uint64_t SysfsBlock::numberAttribute(const char* name) const {
    std::ifstream stream(m_folder / name);
    std::uint64_t value = 0;
    return !m_folder.empty() && stream >> value ? value : 0;
}

std::uint64_t SysfsBlock::queueLimit(const char* name) const {
    std::ifstream stream(diskFolder() / "queue" / name);
    std::uint64_t value = 0;
    return stream >> value ? value : 0;
}

std::string SysfsBlock::scsiGenericName() const {
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(diskFolder() / "device" / "scsi_generic", ignored))
        return entry.path().filename().string();
    return {};
}

bool SysfsBlock::isUsable() const {
    std::error_code ignored;
    if (m_folder.empty() || !fs::exists(m_folder, ignored))
        return false;
    // Of SCSI devices; others have no such file or say "live".
    const std::string state = readLine(diskFolder() / "device" / "state");
    return state != "offline" && state != "transport-offline" && state != "deleted" && state != "dead";
}

std::vector<SysfsBlock::Member> SysfsBlock::members() const {
    std::vector<Member> members;
    if (m_folder.empty())
        return members;
    members.push_back({name(), numberIn(m_folder)});
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(m_folder, ignored))
        if (fs::exists(entry.path() / "partition", ignored))
            members.push_back({entry.path().filename().string(), numberIn(entry.path())});
    return members;
}

fs::path SysfsBlock::folderOf(const Member& member) const {
    return member.name == name() ? m_folder : m_folder / member.name;
}

std::vector<std::string> SysfsBlock::holdersOf(const Member& member) const {
    std::vector<std::string> holders;
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(folderOf(member) / "holders", ignored))
        holders.push_back(entry.path().filename().string());
    return holders;
}

bool SysfsBlock::isCache(const Member& member) const {
    std::error_code ignored;
    return fs::exists(folderOf(member) / "bcache" / "cache_replacement_policy", ignored);
}

std::string SysfsBlock::wwid() const {
    const std::string ofScsi = readLine(diskFolder() / "device" / "wwid");
    return ofScsi.empty() ? readLine(diskFolder() / "wwid") : ofScsi;
}

std::vector<SysfsBlock> SysfsBlock::otherPaths() const {
    std::vector<SysfsBlock> paths;
    if (m_folder.empty() || wwid().empty() || readLine(m_folder / "size") == "0")
        return paths;
    const auto isPathToThis = [this](const SysfsBlock& other) {
        return !other.m_folder.empty() && other.m_folder != m_folder &&
               readLine(other.m_folder / "size") == readLine(m_folder / "size") &&
               readLine(other.m_folder / "partition") == readLine(m_folder / "partition") &&
               other.wwid() == wwid();
    };
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator("/sys/class/block", ignored)) {
        SysfsBlock other(fs::canonical(entry.path(), ignored));
        if (isPathToThis(other))
            paths.push_back(std::move(other));
    }
    return paths;
}

std::vector<SysfsBlock> SysfsBlock::slaves() const {
    std::vector<SysfsBlock> slaves;
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(m_folder / "slaves", ignored))
        slaves.push_back(SysfsBlock(fs::canonical(entry.path(), ignored)));
    return slaves;
}

}  // namespace libDrive2
