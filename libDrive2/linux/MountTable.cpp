#include "libDrive2/linux/MountTable.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

namespace libDrive2 {

namespace fs = std::filesystem;

namespace {

void addMounts(const std::string& processName, long process, std::vector<Mount>& mounts) {
    std::ifstream table("/proc/" + processName + "/mountinfo");
    for (std::string line; std::getline(table, line);) {
        std::istringstream fields(line);
        std::string skipped;
        Mount mount;
        fields >> skipped >> skipped >> mount.number >> skipped >> mount.folder;
        while (fields >> skipped && skipped != "-") {}
        fields >> mount.type >> mount.source >> mount.options;
        mount.folder = unescape(mount.folder);
        mount.source = unescape(mount.source);
        mount.process = process;
        mounts.push_back(std::move(mount));
    }
}

/// Such as "mnt:[4026531841]"; empty when it may not be known.
std::string namespaceOf(const std::string& process) {
    std::error_code failed;
    return fs::read_symlink("/proc/" + process + "/ns/mnt", failed).string();
}

}  // namespace

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
    addMounts("self", 0, mounts);
    return mounts;
}

std::vector<Mount> listMountsEverywhere() {
    std::vector<Mount> mounts = listMounts();
    std::set<std::string> seen = {namespaceOf("self"), ""};
    std::error_code failed;
    for (fs::directory_iterator entry("/proc", failed), end; entry != end; entry.increment(failed)) {
        const std::string name = entry->path().filename();
        if (const long process = std::strtol(name.c_str(), nullptr, 10);
            process > 0 && seen.insert(namespaceOf(name)).second)
            addMounts(name, process, mounts);
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
