#include "drivetest/record/KeptRecord.h"

#include <filesystem>
#include <system_error>

#include "libDrive2/linux/GuardedFolder.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using libDrive2::GuardedFile;
using libDrive2::GuardedFolder;

constexpr mode_t kReadableByAll = 0644;
/// Of one second.
constexpr int kMostAlike = 100;

/// Several runs of one second get numbers.
GuardedFile createNew(const GuardedFolder& folder, const std::string& name, std::string& file) {
    GuardedFile made;
    for (int number = 1; number <= kMostAlike && !made.file; ++number) {
        file = name + (number == 1 ? "" : "-" + std::to_string(number)) + ".jsonl";
        std::error_code ignored;
        if (!std::filesystem::exists(std::filesystem::symlink_status(folder.pathOf(file), ignored)))
            made = folder.createFile(file, kReadableByAll);
    }
    return made;
}

}  // namespace

KeptRecord createKeptRecord(const std::string& path, const std::string& name, std::string& problem) {
    std::error_code failed;
    std::filesystem::create_directories(path, failed);
    zel::String reason;
    const auto folder = GuardedFolder::open(path, GuardedFolder::Writers::owner, reason);
    if (!folder) {
        problem = failed ? zel::words("{file} could not be made: {reason}",
                                      {{"file", path}, {"reason", failed.message()}})
                         : reason.utf8();
        return {};
    }
    std::string file;
    GuardedFile made = createNew(*folder, name, file);
    problem = made.file ? "" : made.problem.utf8();
    if (!made.file)
        return {};
    const std::string full = folder->pathOf(file);
    return {OutputFile::adopt(made.file.release(), full), full};
}

}  // namespace drivetest
