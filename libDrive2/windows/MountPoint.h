#pragma once

#include <string>

namespace libDrive2 {

/// Where the volume is mounted that a path lies on, or is going to lie on: "C:\\", with the backslash. Empty
/// when that is not known.
std::wstring mountPointOf(const std::string& path);

/// The path that opens the volume itself, "\\?\Volume{…}"; empty when that is not known.
std::string volumeAt(const std::wstring& mountPoint);

}  // namespace libDrive2
