#include <filesystem>

#include "drivetest/recovery/ExportFolder.h"
#include "libDrive2/linux/GuardedFolder.h"

namespace drivetest {

bool writeDurably(const std::string& path, std::span<const std::uint8_t> data, std::string& error) {
    const std::filesystem::path file(path);
    zel::String reason;
    const auto folder = libDrive2::GuardedFolder::open(file.parent_path().string(),
                                                       libDrive2::GuardedFolder::Writers::owner, reason);
    bool isWritten = false;
    if (folder) {
        const auto made = folder->createFile(file.filename().string(), S_IRUSR | S_IWUSR);
        reason = made.problem;
        isWritten = made.file &&
                    (libDrive2::writeAllDurably(made.file.get(), data.data(), data.size()) ||
                     libDrive2::failWith(reason, "its data could not be kept", errno)) &&
                    folder->sync(reason);
        // A part of the data would be taken for all of it.
        zel::String ignored;
        if (made.file && !isWritten)
            folder->remove(file.filename().string(), made.file, ignored);
    }
    if (!isWritten)
        error = path + " cannot be written: " + reason.utf8();
    return isWritten;
}

}  // namespace drivetest
