#pragma once

#include <optional>
#include <string>

namespace drivetest {

/// Seconds since 1970 of a time as records have it, "2026-11-23T04:34:38.375Z"; nothing where it is none.
std::optional<double> instantOf(const std::string& recorded);

}  // namespace drivetest
