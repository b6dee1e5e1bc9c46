#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "zel/Export.h"

namespace zel {

/// Paths are UTF-8 texts; the system takes them in a form of its own. A std::filesystem::path is never made
/// from such a text, nor a text from it, but by these two: they work for every letter and length.
DRIVETEST_API std::filesystem::path pathOf(std::string_view text);
DRIVETEST_API std::string textOf(const std::filesystem::path& path);

/// Whether the path leads to the same place wherever a process is: on Windows from a drive's letter and its
/// root, or from a share.
DRIVETEST_API bool isAbsolute(std::string_view path);

/// Whether the path leads to something: a file, a folder, a device.
DRIVETEST_API bool pathExists(std::string_view path);
/// Whether it leads to a file that holds bytes.
DRIVETEST_API bool isRegularFile(std::string_view path);
/// Whether both lead to one file, by whatever names.
DRIVETEST_API bool isSameFile(std::string_view a, std::string_view b);

/// The path without links, absolute; empty when it leads to nothing.
DRIVETEST_API std::string canonicalPath(std::string_view path);
/// The same of a path whose end may not exist yet, which stays as it is.
DRIVETEST_API std::string canonicalBeginning(std::string_view path);

}  // namespace zel
