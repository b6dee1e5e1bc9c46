#pragma once

#include <filesystem>
#include <string>

namespace libDrive2 {

/// The path itself, or the nearest folder above it that exists.
std::filesystem::path nearestExisting(const std::string& path);

/// Where the volume is mounted that a path lies on, or is going to lie on, with a backslash at its end. Empty
/// when that is not known.
std::wstring mountPointOf(const std::string& path);

}  // namespace libDrive2
