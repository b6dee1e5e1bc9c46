#include "libDrive2/linux/SysfsScsi.h"

#include <sys/sysmacros.h>

#include <algorithm>

namespace libDrive2 {

namespace fs = std::filesystem;

namespace {

constexpr const char* kGenericNodes = "/sys/class/scsi_generic";

/// The folder that a link leads to; empty when it leads nowhere.
fs::path followed(const fs::path& link) {
    std::error_code failed;
    fs::path folder = fs::canonical(link, failed);
    return failed ? fs::path() : folder;
}

}  // namespace

SysfsScsi::SysfsScsi(dev_t number) {
    const fs::path node =
        followed("/sys/dev/char/" + std::to_string(major(number)) + ":" + std::to_string(minor(number)));
    if (node.parent_path().filename() == "scsi_generic")
        m_folder = followed(node / "device");
}

SysfsScsi SysfsScsi::of(const SysfsBlock& block) {
    const fs::path folder = block.folder().empty() ? fs::path() : followed(block.folder() / "device");
    std::error_code none;
    return SysfsScsi(fs::exists(folder / "scsi_generic", none) ? folder : fs::path());
}

std::vector<SysfsScsi> SysfsScsi::listAll() {
    std::vector<SysfsScsi> devices;
    std::error_code failed;
    for (fs::directory_iterator node(kGenericNodes, failed), end; node != end; node.increment(failed))
        devices.push_back(SysfsScsi(followed(node->path() / "device")));
    return devices;
}

std::vector<SysfsScsi> SysfsScsi::listHidden() {
    std::vector<SysfsScsi> devices = listAll();
    std::erase_if(devices, [](const SysfsScsi& device) { return !device.isHidden(); });
    return devices;
}

std::string SysfsScsi::name() const {
    std::error_code none;
    if (exists())
        for (const auto& node : fs::directory_iterator(m_folder / "scsi_generic", none))
            return node.path().filename().string();
    return {};
}

SysfsBlock SysfsScsi::block() const {
    std::error_code none;
    if (exists())
        for (const auto& block : fs::directory_iterator(m_folder / "block", none))
            return SysfsBlock(SysfsBlock::numberIn(block.path()));
    return SysfsBlock(dev_t{0});
}

bool SysfsScsi::isDisk() const {
    const std::string type = attribute("type");
    return type == "0" || type == "14";
}

bool SysfsScsi::isHidden() const {
    if (!isDisk() || name().empty())
        return false;
    const SysfsBlock shown = block();
    return shown.name().empty() || (shown.attribute("size") == "0" && !shown.isRemovable());
}

bool SysfsScsi::isUsable() const {
    std::error_code none;
    const std::string state = attribute("state");
    return exists() && fs::exists(m_folder, none) && state != "offline" && state != "transport-offline" &&
           state != "deleted";
}

std::string SysfsScsi::attribute(const char* name) const {
    return exists() ? readLine(m_folder / name) : std::string();
}

std::vector<SysfsScsi> SysfsScsi::otherPaths() const {
    const std::string wwid = attribute("wwid");
    if (wwid.empty())
        return {};
    std::vector<SysfsScsi> paths = listAll();
    std::erase_if(paths, [&](const SysfsScsi& each) {
        return each.m_folder == m_folder || each.attribute("wwid") != wwid;
    });
    return paths;
}

}  // namespace libDrive2
