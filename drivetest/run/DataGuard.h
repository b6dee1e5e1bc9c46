#pragma once

#include <functional>
#include <string>

namespace drivetest {

/// Why the file that the path leads to must not be written to: it holds data that a test must keep. Empty
/// when it may. Paths of open descriptors ("/proc/self/fd/3") are looked at as the files they are.
using DataGuard = std::function<std::string(const std::string& path)>;

/// Guards what a drive is kept in, in whatever depth: its own file, the image of a simulated one, the files
/// behind loop devices below it; and all undo journals. Each is known by file system and inode, whatever its
/// name. `locator` is a device path, an image file or "sim:…".
DataGuard guardDrive(const std::string& locator, const std::string& journalFolder);

}  // namespace drivetest
