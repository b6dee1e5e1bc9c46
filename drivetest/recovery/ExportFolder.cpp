#include "drivetest/recovery/ExportFolder.h"

#include <filesystem>

namespace drivetest {

bool ExportFolder::saveSectors(std::uint64_t lba, std::span<const std::uint8_t> data, What what) {
    const std::string stem =
        m_folder + "/" + m_prefix + (what == What::found ? "-found-" : "-original-") + std::to_string(lba);
    std::string path = stem + ".bin";
    for (int n = 2; std::filesystem::exists(path); ++n)
        path = stem + "-" + std::to_string(n) + ".bin";
    if (!writeDurably(path, data, m_problem))
        return false;
    m_files.push_back(path);
    return true;
}

}  // namespace drivetest
