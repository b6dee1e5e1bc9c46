#include "libDrive2/linux/LoopTable.h"

#include <filesystem>

#include "libDrive2/linux/LoopBacking.h"
#include "libDrive2/linux/SysfsBlock.h"

namespace libDrive2 {

namespace fs = std::filesystem;

namespace {

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
