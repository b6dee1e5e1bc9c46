#include "drivetest/safety/DriveLoad.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cstdint>
#include <filesystem>
#include <fstream>

namespace drivetest {

namespace {

/// Of the numbers in a drive's "stat", the time with a transfer under way.
constexpr int kBusyField = 10;

}  // namespace

std::optional<std::chrono::milliseconds> busyTimeOf(const std::string& device) {
    struct stat found {};
    if (stat(device.c_str(), &found) != 0 || !S_ISBLK(found.st_mode))
        return std::nullopt;
    std::filesystem::path folder =
        "/sys/dev/block/" + std::to_string(major(found.st_rdev)) + ":" + std::to_string(minor(found.st_rdev));
    std::error_code unknown;
    if (std::filesystem::exists(folder / "partition", unknown))
        folder /= "..";
    std::ifstream file(folder / "stat");
    std::uint64_t number = 0;
    int field = 0;
    while (field < kBusyField && file >> number)
        ++field;
    return field == kBusyField ? std::optional(std::chrono::milliseconds(number)) : std::nullopt;
}

}  // namespace drivetest
