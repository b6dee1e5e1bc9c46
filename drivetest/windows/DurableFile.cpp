#include "drivetest/recovery/ExportFolder.h"
#include "libDrive2/windows/GuardedFolder.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

using libDrive2::GuardedFolder;

bool writeDurably(const std::string& path, std::span<const std::uint8_t> data, std::string& error) {
    const std::filesystem::path file = zel::pathOf(path);
    const std::string name = zel::textOf(file.filename());
    zel::String reason;
    const auto folder =
        GuardedFolder::open(zel::textOf(file.parent_path()), GuardedFolder::Writers::owner, reason);
    bool isWritten = false;
    if (folder) {
        auto made = folder->createFile(name, GuardedFolder::Readers::owner);
        reason = made.problem;
        const std::string unkept = zel::words("its data could not be kept");
        isWritten = made.file &&
                    (libDrive2::writeAllDurably(made.file.get(), data.data(), data.size()) ||
                     libDrive2::failWith(reason, unkept, GetLastError())) &&
                    folder->sync(reason);
        // A part of the data would be taken for all of it.
        zel::String ignored;
        if (made.file && !isWritten)
            folder->remove(name, made.file, ignored);
    }
    if (!isWritten)
        error = zel::words("{file} cannot be written: {reason}", {{"file", path}, {"reason", reason}});
    return isWritten;
}

}  // namespace drivetest
