#pragma once

#include <string>

namespace drivetest {

/// A link (RFC 3986) from a page in this folder to a file, whatever their names; empty where none can be
/// made, as between two drives of Windows.
std::string linkTo(const std::string& file, const std::string& folder);

}  // namespace drivetest
