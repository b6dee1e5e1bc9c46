#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace libDrive2 {

/// A line of /proc/self/mountinfo.
struct Mount {
    std::string number;  ///< "major:minor"
    std::string folder, type, source, options;
    /// Somebody who sees it, where the program itself does not; else 0.
    long process = 0;
};

/// All mounts, in the order in which they were made.
std::vector<Mount> listMounts();

/// These, and after them what is mounted in other mount namespaces (containers, services), as far as the
/// program may look into them.
std::vector<Mount> listMountsEverywhere();

/// The mount that shows an absolute path: of the deepest mount points above it, the last one.
std::optional<Mount> mountAbove(const std::filesystem::path& path);

/// The kernel's tables write blanks and backslashes as octal escapes such as "\040".
std::string unescape(const std::string& field);

}  // namespace libDrive2
