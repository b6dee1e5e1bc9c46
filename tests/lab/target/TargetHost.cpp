#include "TargetHost.h"

#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <system_error>

namespace lab {

namespace fs = std::filesystem;

namespace {

const fs::path kTarget = "/sys/kernel/config/target";
// Named after the process, so that there can be several.
const std::string kNumber = std::to_string(getpid());
const fs::path kDevices = kTarget / "core" / ("user_" + kNumber);
const std::string kPortName = "naa.5" + std::string(15 - kNumber.size(), '0') + kNumber;

[[noreturn]] void fail(const fs::path& path) {
    throw std::system_error(errno, std::generic_category(), path);
}

void put(const fs::path& file, const std::string& text) {
    std::ofstream stream(file);
    if (!(stream << text << std::flush))
        fail(file);
}

std::string lineOf(const fs::path& file) {
    std::string line;
    std::ifstream stream(file);
    if (!std::getline(stream, line))
        fail(file);
    return line;
}

std::string nameOf(unsigned unit) {
    return "drive" + std::to_string(unit);
}

/// The node of the only entry of a folder; "-" where there is none, or none yet.
std::string nodeIn(const fs::path& folder) {
    std::error_code none;
    if (fs::is_empty(folder, none) || none)
        return "-";
    return "/dev/" + fs::directory_iterator(folder)->path().filename().string();
}

}  // namespace

TargetHost::TargetHost() : m_port(kTarget / "loopback" / kPortName / "tpgt_1") {
    fs::create_directories(kDevices);
    fs::create_directories(m_port);
    put(m_port / "nexus", kPortName);
}

TargetHost::Place TargetHost::create(unsigned unit) {
    const fs::path folder = kDevices / nameOf(unit);
    fs::create_directory(folder);
    // The size is a formality: the device tells its own.
    put(folder / "control", "dev_size=2048,hw_block_size=2048,max_data_area_mb=8");
    put(folder / "attrib/cmd_time_out", "0");
    put(folder / "enable", "1");
    for (const auto& found : fs::directory_iterator("/sys/class/uio"))
        if (lineOf(found.path() / "name") == "tcm-user/" + kNumber + "/" + nameOf(unit))
            return {"/dev/" + found.path().filename().string(),
                    std::stoul(lineOf(found.path() / "maps/map0/size"), nullptr, 16)};
    errno = ENODEV;
    fail(folder);
}

std::string TargetHost::attach(unsigned unit) {
    const std::string number = std::to_string(unit);
    const fs::path lun = m_port / "lun" / ("lun_" + number);
    fs::create_directory(lun);
    fs::create_directory_symlink(kDevices / nameOf(unit), lun / "device");
    const fs::path device = "/sys/bus/scsi/devices/" + lineOf(m_port / "address") + ":" + number;
    return nodeIn(device / "block") + " " + nodeIn(device / "scsi_generic");
}

}  // namespace lab
