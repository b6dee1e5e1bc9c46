#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "drivetest/recovery/ExportFolder.h"
#include "zel/linux/Uninterrupted.h"

namespace drivetest {

namespace {

bool writeAll(int fd, std::span<const std::uint8_t> data) {
    while (!data.empty()) {
        const ssize_t written = zel::uninterrupted([&] { return write(fd, data.data(), data.size()); });
        if (written < 0)
            return false;
        data = data.subspan(static_cast<std::size_t>(written));
    }
    return zel::uninterrupted([fd] { return fsync(fd); }) == 0;
}

/// Makes the name durable.
bool syncFolder(const std::string& folder) {
    const int fd =
        zel::uninterrupted([&] { return open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
    const bool synced = fd >= 0 && zel::uninterrupted([fd] { return fsync(fd); }) == 0;
    if (fd >= 0)
        close(fd);
    return synced;
}

}  // namespace

bool writeDurably(const std::string& path, std::span<const std::uint8_t> data, std::string& error) {
    const int fd =
        zel::uninterrupted([&] { return open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600); });
    const bool written =
        fd >= 0 && writeAll(fd, data) && syncFolder(std::filesystem::path(path).parent_path().string());
    if (!written)
        error = path + " cannot be written: " + std::generic_category().message(errno);
    if (fd >= 0)
        close(fd);
    return written;
}

}  // namespace drivetest
