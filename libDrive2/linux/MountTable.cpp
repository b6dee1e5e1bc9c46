#include "libDrive2/linux/MountTable.h"

#include <cstdio>
#include <fstream>
#include <sstream>

namespace libDrive2 {

std::string unescape(const std::string& field) {
    std::string text;
    for (std::size_t i = 0; i < field.size(); ++i) {
        unsigned code = 0;
        if (field[i] == '\\' && std::sscanf(field.c_str() + i, "\\%3o", &code) == 1) {
            text += static_cast<char>(code);
            i += 3;
        } else {
            text += field[i];
        }
    }
    return text;
}

std::vector<Mount> listMounts() {
    std::vector<Mount> mounts;
    std::ifstream table("/proc/self/mountinfo");
    for (std::string line; std::getline(table, line);) {
        std::istringstream fields(line);
        std::string skipped;
        Mount mount;
        fields >> skipped >> skipped >> mount.number >> skipped >> mount.folder;
        while (fields >> skipped && skipped != "-") {}
        fields >> mount.type >> mount.source >> mount.options;
        mount.folder = unescape(mount.folder);
        mount.source = unescape(mount.source);
        mounts.push_back(std::move(mount));
    }
    return mounts;
}

std::optional<Mount> mountAbove(const std::filesystem::path& path) {
    std::optional<Mount> found;
    for (const Mount& mount : listMounts()) {
        const std::string below = mount.folder == "/" ? "/" : mount.folder + "/";
        if ((path.string() + "/").starts_with(below) &&
            (!found || mount.folder.size() >= found->folder.size()))
            found = mount;
    }
    return found;
}

}  // namespace libDrive2
