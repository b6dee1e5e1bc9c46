#include "drivetest/safety/DriveLoad.h"

namespace drivetest {

/// Windows counts a drive's work only while somebody has asked it to.
std::optional<std::chrono::milliseconds> busyTimeOf(const std::string& /*device*/) {
    return std::nullopt;
}

}  // namespace drivetest
