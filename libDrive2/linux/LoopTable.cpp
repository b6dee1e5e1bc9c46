#include "libDrive2/linux/LoopTable.h"

#include <fcntl.h>
#include <linux/loop.h>
#include <sys/ioctl.h>

#include <filesystem>

#include "libDrive2/linux/FileDescriptor.h"
#include "libDrive2/linux/SysfsBlock.h"
#include "zel/ReadFile.h"

namespace libDrive2 {

namespace fs = std::filesystem;

namespace {

/// All of it: a name may have line feeds in it.
std::string backingPathOf(const SysfsBlock& device) {
    std::string path = zel::readFile(device.folder() / "loop" / "backing_file").value_or("");
    if (path.ends_with('\n'))
        path.pop_back();
    return path;
}

bool readStatus(const std::string& node, dev_t loop, loop_info64& status) {
    const FileDescriptor device(::open(node.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOFOLLOW));
    struct stat found {};
    return device && fstat(device.get(), &found) == 0 && S_ISBLK(found.st_mode) && found.st_rdev == loop &&
           ioctl(device.get(), LOOP_GET_STATUS64, &status) == 0;
}

/// Where the device may not be opened, what the name leads to now has to do. That of a deleted file ends in
/// " (deleted)" and leads nowhere.
bool statByName(LoopBacking& backing) {
    struct stat found {};
    if (stat(backing.path.c_str(), &found) != 0)
        return false;
    backing.isBlockDevice = S_ISBLK(found.st_mode);
    backing.device = backing.isBlockDevice ? found.st_rdev : found.st_dev;
    backing.inode = found.st_ino;
    return true;
}

StorageNode nodeOf(const LoopBacking& backing) {
    StorageNode node;
    node.isDevice = backing.isBlockDevice;
    node.device = backing.device;
    node.inode = backing.isBlockDevice ? 0 : backing.inode;
    return node;
}

}  // namespace

StorageNode::StorageNode(const struct stat& found)
    : isDevice(S_ISBLK(found.st_mode)),
      device(isDevice ? found.st_rdev : found.st_dev),
      inode(isDevice ? 0 : found.st_ino) {}

std::optional<LoopBacking> LoopBacking::of(dev_t loop) {
    const SysfsBlock device(loop);
    LoopBacking backing;
    backing.path = device.folder().empty() ? "" : backingPathOf(device);
    if (backing.path.empty())
        return std::nullopt;
    backing.offset = device.numberAttribute("loop/offset");
    backing.bytes = device.numberAttribute("loop/sizelimit");
    loop_info64 status{};
    if (!readStatus("/dev/" + device.name(), loop, status))
        return statByName(backing) ? std::optional(backing) : std::nullopt;
    // Of a file the second number is none, or repeats the first. The kernel writes numbers as the C library.
    backing.isBlockDevice = status.lo_rdevice != 0 && status.lo_rdevice != status.lo_device;
    backing.device = static_cast<dev_t>(backing.isBlockDevice ? status.lo_rdevice : status.lo_device);
    backing.inode = static_cast<ino_t>(status.lo_inode);
    backing.offset = status.lo_offset;
    backing.bytes = status.lo_sizelimit;
    return backing;
}

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
        if (const auto backing = LoopBacking::of(loop.number))
            loop.backing = nodeOf(*backing);
        loops.push_back(std::move(loop));
    }
    return loops;
}

}  // namespace libDrive2
