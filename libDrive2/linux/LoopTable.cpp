#include "libDrive2/linux/LoopTable.h"

#include <fcntl.h>
#include <linux/loop.h>
#include <sys/ioctl.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>

#include "libDrive2/linux/FileDescriptor.h"
#include "libDrive2/linux/SysfsBlock.h"

namespace libDrive2 {

namespace fs = std::filesystem;

namespace {

std::optional<StorageNode> askDevice(const AttachedLoop& loop) {
    const FileDescriptor device(
        open(("/dev/" + loop.name).c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOFOLLOW));
    struct stat found {};
    loop_info64 info{};
    if (!device || fstat(device.get(), &found) != 0 || !S_ISBLK(found.st_mode) ||
        found.st_rdev != loop.number || ioctl(device.get(), LOOP_GET_STATUS64, &info) != 0)
        return std::nullopt;
    StorageNode backing;
    backing.isDevice = info.lo_rdevice != 0;
    backing.device = static_cast<dev_t>(backing.isDevice ? info.lo_rdevice : info.lo_device);
    backing.inode = backing.isDevice ? 0 : static_cast<ino_t>(info.lo_inode);
    return backing;
}

/// A deleted file's path ends in " (deleted)" there and leads nowhere, or to a file of just that name: it is
/// no file that has a path, then, but for another hard link, which cannot be known from here.
std::optional<StorageNode> followPath(const fs::path& backingFile) {
    std::ifstream stream(backingFile);
    std::string path{std::istreambuf_iterator<char>(stream), {}};
    if (path.ends_with('\n'))
        path.pop_back();
    struct stat found {};
    if (path.empty() || stat(path.c_str(), &found) != 0)
        return std::nullopt;
    return StorageNode(found);
}

}  // namespace

StorageNode::StorageNode(const struct stat& found)
    : isDevice(S_ISBLK(found.st_mode)),
      device(isDevice ? found.st_rdev : found.st_dev),
      inode(isDevice ? 0 : found.st_ino) {}

std::vector<AttachedLoop> listLoops() {
    std::vector<AttachedLoop> loops;
    std::error_code failed;
    for (fs::directory_iterator entry("/sys/block", failed), end; entry != end; entry.increment(failed)) {
        std::error_code ignored;
        if (!fs::exists(entry->path() / "loop", ignored))
            continue;
        AttachedLoop loop;
        loop.name = entry->path().filename();
        loop.number = SysfsBlock::numberIn(entry->path());
        auto backing = askDevice(loop);
        if (!backing)
            backing = followPath(entry->path() / "loop" / "backing_file");
        loop.backing = backing.value_or(StorageNode());
        loops.push_back(std::move(loop));
    }
    return loops;
}

}  // namespace libDrive2
