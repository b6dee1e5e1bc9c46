#include "drivetest/recovery/ExportFolder.h"

#include "zel/Path.h"

namespace drivetest {

bool ExportFolder::saveSectors(std::uint64_t lba, std::span<const std::uint8_t> data, What what) {
    const std::string stem =
        m_prefix + (what == What::found ? "-found-" : "-original-") + std::to_string(lba);
    const auto inFolder = [this](const std::string& name) {
        return zel::textOf(zel::pathOf(m_folder) / zel::pathOf(name));
    };
    std::string path = inFolder(stem + ".bin");
    for (int n = 2; zel::pathExists(path); ++n)
        path = inFolder(stem + "-" + std::to_string(n) + ".bin");
    if (!writeDurably(path, data, m_problem))
        return false;
    m_files.push_back(path);
    return true;
}

}  // namespace drivetest
