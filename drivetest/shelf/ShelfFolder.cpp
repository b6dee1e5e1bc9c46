#include "drivetest/shelf/ShelfFolder.h"

#include <array>
#include <filesystem>
#include <system_error>

#include "drivetest/record/KeptRecord.h"
#include "drivetest/safety/JournalPlace.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

constexpr const char* kRecordEnd = ".jsonl";
constexpr const char* kLogEnd = ".log";
constexpr const char* kReportEnd = ".html";
/// Of one second.
constexpr int kMostAlike = 1000;

std::string numbered(const std::string& name, int number) {
    return number == 1 ? name : name + "-" + std::to_string(number);
}

std::string below(const std::string& folder, const std::string& name) {
    return zel::textOf(zel::pathOf(folder) / zel::pathOf(name));
}

/// Links that lead to nothing, too.
bool isTaken(const std::string& path) {
    std::error_code unknown;
    return std::filesystem::symlink_status(zel::pathOf(path), unknown).type() !=
           std::filesystem::file_type::not_found;
}

/// Its path, also when that failed.
std::string makeNew(const std::string& parent, std::error_code& failed) {
    std::string path = parent;
    std::filesystem::create_directories(zel::pathOf(parent), failed);
    bool isNew = false;
    for (int number = 1; number <= kMostAlike && !isNew && !failed; ++number) {
        path = below(parent, numbered(recordName("drives", "run"), number));
        isNew = std::filesystem::create_directory(zel::pathOf(path), failed);
    }
    return path;
}

}  // namespace

std::optional<ShelfFolder> ShelfFolder::make(const std::string& wanted, const std::string& parent,
                                             std::string& problem) {
    std::error_code failed;
    std::string path = wanted;
    if (wanted.empty())
        path = makeNew(parent.empty() ? defaultRecordFolder() : parent, failed);
    else
        std::filesystem::create_directories(zel::pathOf(path), failed);
    if (!failed && std::filesystem::is_directory(zel::pathOf(path), failed))
        return ShelfFolder(path);
    problem = zel::words(
        "{file} could not be made: {reason}",
        {{"file", path}, {"reason", failed ? failed.message() : zel::words("a file has that name")}});
    return std::nullopt;
}

std::optional<RunFiles> ShelfFolder::filesFor(const std::string& drive, const std::string& test,
                                              std::string& problem) const {
    return filesNamed({recordName(drive, test), 1}, problem);
}

std::optional<RunFiles> ShelfFolder::filesNextTo(const std::string& record, std::string& problem) const {
    NumberedName name = numberedName(zel::textOf(zel::pathOf(record).stem()));
    ++name.number;
    return filesNamed(name, problem);
}

std::optional<RunFiles> ShelfFolder::filesNamed(const NumberedName& name, std::string& problem) const {
    for (int number = name.number; number < name.number + kMostAlike; ++number) {
        const std::string stem = numbered(name.text, number);
        bool isAnyTaken = false;
        for (const char* const end : {kRecordEnd, kLogEnd, kReportEnd})
            isAnyTaken = isAnyTaken || isTaken(below(m_path, stem + end));
        if (isAnyTaken)
            continue;
        KeptRecord record = createKeptRecord(m_path, stem, problem);
        if (!record.file || !record.file.begin())
            return std::nullopt;
        return RunFiles{record.path, below(m_path, stem + kLogEnd), below(m_path, stem + kReportEnd)};
    }
    problem =
        zel::words("{file} could not be made: {reason}",
                   {{"file", below(m_path, name.text)}, {"reason", zel::words("a file has that name")}});
    return std::nullopt;
}

std::string ShelfFolder::overviewFile() const {
    int number = 1;
    std::string file;
    do
        file = below(m_path, numbered("overview", number++) + kReportEnd);
    while (isTaken(file) && number <= kMostAlike);
    return file;
}

}  // namespace drivetest
