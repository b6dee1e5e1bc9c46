#include "drivetest/fleet/RecordFiles.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "drivetest/terminal/Console.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;
namespace fs = std::filesystem;

/// More than anybody reads.
constexpr std::size_t kMostSentences = 1000;
constexpr const char* kRecordEnd = ".jsonl";

std::string noFile(const std::string& path) {
    return words("{file} is no file", {{"file", printable(path)}});
}

std::string noFolder(const std::string& path, const std::error_code& reason) {
    return words("{folder} cannot be read: {reason}",
                 {{"folder", printable(path)}, {"reason", reason.message()}});
}

/// Adds what is in the folder itself, and gives the folders in it. False when it cannot be read.
bool list(const fs::path& folder, std::vector<std::string>& records, std::vector<fs::path>& deeper,
          LeftOut& leftOut, std::error_code& failed) {
    fs::directory_iterator entry(folder, failed);
    for (const fs::directory_iterator end; !failed && entry != end; entry.increment(failed)) {
        std::error_code unknown;
        if (entry->symlink_status(unknown).type() == fs::file_type::directory)
            deeper.push_back(entry->path());
        else if (entry->path().extension() != kRecordEnd)
            continue;
        else if (entry->is_regular_file(unknown))
            records.push_back(zel::textOf(entry->path()));
        else
            leftOut.add(noFile(zel::textOf(entry->path())));
    }
    return !failed;
}

bool listAll(const std::string& path, std::vector<std::string>& records, LeftOut& leftOut,
             std::string& problem) {
    std::error_code failed;
    std::vector<fs::path> deeper;
    if (!list(zel::pathOf(path), records, deeper, leftOut, failed)) {
        problem = noFolder(path, failed);
        return false;
    }
    while (!deeper.empty()) {
        const fs::path folder = std::exchange(deeper.back(), {});
        deeper.pop_back();
        if (!list(folder, records, deeper, leftOut, failed))
            leftOut.add(noFolder(zel::textOf(folder), failed));
    }
    return true;
}

}  // namespace

void LeftOut::add(std::string sentence) {
    ++m_count;
    if (m_sentences.size() < kMostSentences)
        m_sentences.push_back(std::move(sentence));
}

void complainOf(const LeftOut& leftOut) {
    for (const std::string& sentence : leftOut.sentences())
        complain(words("left out: {reason}", {{"reason", sentence}}));
    if (const std::size_t more = leftOut.count() - leftOut.sentences().size(); more > 0)
        complain(zel::counted(more, "and {n} more is left out", "and {n} more are left out"));
}

bool findRecords(const std::vector<std::string>& paths, std::vector<std::string>& records, LeftOut& leftOut,
                 std::string& problem) {
    for (const std::string& path : paths) {
        std::error_code unknown;
        const fs::file_type type = fs::status(zel::pathOf(path), unknown).type();
        if (type == fs::file_type::directory) {
            if (!listAll(path, records, leftOut, problem))
                return false;
        } else if (type == fs::file_type::regular) {
            records.push_back(path);
        } else if (type == fs::file_type::not_found) {
            problem = words("{file} does not exist", {{"file", printable(path)}});
            return false;
        } else {
            leftOut.add(noFile(path));
        }
    }
    std::ranges::sort(records);
    const auto twice = std::ranges::unique(records);
    records.erase(twice.begin(), twice.end());
    return true;
}

}  // namespace drivetest
