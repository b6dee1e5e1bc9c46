#include "drivetest/run/DataGuard.h"

#include <fcntl.h>
#include <linux/loop.h>
#include <linux/major.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <utility>
#include <vector>

#include "libDrive2/DeviceDescription.h"
#include "zel/linux/Uninterrupted.h"

namespace drivetest {

namespace {

/// A file, whatever its name.
struct FileKey {
    std::uint64_t device;
    std::uint64_t inode;

    bool operator==(const FileKey&) const = default;
};

struct Guarded {
    FileKey file;
    std::string why;
};

/// Asks the kernel for the file behind a loop device, or behind the loop device that has the partition: what
/// /sys shows is only the text that the name was once.
bool findBackingFile(const std::string& path, FileKey& file) {
    const int fd = zel::uninterrupted([&] { return open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC); });
    loop_info64 info{};
    const bool found =
        fd >= 0 && zel::uninterrupted([&] { return ioctl(fd, LOOP_GET_STATUS64, &info); }) == 0;
    if (fd >= 0)
        close(fd);
    file = {info.lo_device, info.lo_inode};
    return found;
}

bool isLoop(const struct stat& device) {
    return S_ISBLK(device.st_mode) &&
           (major(device.st_rdev) == LOOP_MAJOR || major(device.st_rdev) == BLOCK_EXT_MAJOR);
}

/// The file that a drive is kept in, where it is kept in one that the locator names.
std::string pathOf(const std::string& locator) {
    libDrive2::SimulatedDevice simulated;
    zel::String ignored;
    if (!locator.starts_with("sim:"))
        return locator;
    return libDrive2::describeSimulatedDevice(locator, simulated, ignored) ? simulated.image.utf8()
                                                                           : std::string();
}

std::vector<Guarded> filesOf(const std::string& locator) {
    std::vector<Guarded> files;
    const std::string path = pathOf(locator);
    struct stat drive {};
    if (path.empty() || stat(path.c_str(), &drive) != 0)
        return files;
    files.push_back({{drive.st_dev, drive.st_ino}, "it is what is to be tested"});
    FileKey backing{};
    if (isLoop(drive) && findBackingFile(path, backing))
        files.push_back({backing, "it is the file behind " + locator + ", which is to be tested"});
    return files;
}

}  // namespace

DataGuard guardDrive(const std::string& locator) {
    return [locator](const std::string& path) {
        struct stat output {};
        if (stat(path.c_str(), &output) == 0)
            for (const Guarded& each : filesOf(locator))
                if (each.file == FileKey{output.st_dev, output.st_ino})
                    return each.why;
        return std::string();
    };
}

}  // namespace drivetest
