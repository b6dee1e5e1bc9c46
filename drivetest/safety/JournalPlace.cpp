#include "drivetest/safety/JournalPlace.h"

#include <filesystem>

#include "drivetest/terminal/Texts.h"
#include "libDrive2/JournalFolder.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

/// What any disk takes without wearing.
constexpr std::uint64_t kWorthTelling = 10'000'000'000;

/// "FOLDER (ext4 on /dev/sda1, 79.0 GiB free)"
std::string placeText(const std::string& folder) {
    std::filesystem::path existing = zel::pathOf(folder);
    std::error_code failed;
    while (!zel::pathExists(zel::textOf(existing)) && existing.has_relative_path())
        existing = existing.parent_path();
    const auto space = std::filesystem::space(existing, failed);
    const std::string system = libDrive2::JournalFolder(folder).fileSystem().utf8();
    const std::string free = failed ? "" : words("{size} free", {{"size", sizeText(space.available)}});
    if (system.empty() && free.empty())
        return folder;
    return folder + " (" + system + (system.empty() || free.empty() ? "" : ", ") + free + ")";
}

}  // namespace

std::string recoverCommand(const std::string& locator, const std::string& folder) {
    const std::string option = folder == defaultJournalFolder() ? "" : " --journal " + shellWord(folder);
    return quoted("drivetest recover " + shellWord(locator) + option);
}

std::vector<std::string> journalCostLines(std::uint64_t testedBytes, const std::string& folder) {
    if (testedBytes < kWorthTelling || libDrive2::JournalFolder(folder).isVolatile())
        return {};
    return {
        words("the undo journal writes what is tested once to its own disk, up to {size}, in {place}",
              {{"size", sizeText(testedBytes)}, {"place", placeText(folder)}}),
        words(
            "keep it on a disk made for that much, not on the system's SSD or a memory card: --journal DIR")};
}

}  // namespace drivetest
