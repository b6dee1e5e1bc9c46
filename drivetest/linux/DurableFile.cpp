#include <filesystem>

#include "drivetest/recovery/ExportFolder.h"
#include "libDrive2/linux/GuardedFolder.h"
#include "zel/Words.h"

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
        const std::string unkept = zel::words("its data could not be kept");
        isWritten = made.file &&
                    (libDrive2::writeAllDurably(made.file.get(), data.data(), data.size()) ||
                     libDrive2::failWith(reason, unkept, errno)) &&
                    folder->sync(reason);
        // A part of the data would be taken for all of it.
        zel::String ignored;
        if (made.file && !isWritten)
            folder->remove(file.filename().string(), made.file, ignored);
    }
    if (!isWritten)
        error = zel::words("{file} cannot be written: {reason}", {{"file", path}, {"reason", reason}});
    return isWritten;
}

}  // namespace drivetest
