#include "drivetest/safety/JournalRegister.h"

#include <algorithm>
#include <charconv>
#include <filesystem>

#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

namespace fs = std::filesystem;

namespace {

using zel::words;

// An entry: "journal LENGTH PATH", then the drive's identity, then "end". The length keeps line feeds in the
// path from being taken for lines; the end shows that nothing is missing.
constexpr std::string_view kJournal = "journal ";
constexpr std::string_view kEnd = "end\n";
/// Of a journal's name in an entry's name, which has a little more in it.
constexpr std::size_t kMostOfName = 200;

std::string toText(const std::string& journal, const libDrive2::DriveIdentity& drive) {
    return std::string(kJournal) + std::to_string(journal.size()) + " " + journal + "\n" + drive.toText() +
           std::string(kEnd);
}

bool fromText(std::string_view text, RegisteredJournal& found) {
    if (!text.starts_with(kJournal) || !text.ends_with("\n" + std::string(kEnd)))
        return false;
    text.remove_prefix(kJournal.size());
    text.remove_suffix(kEnd.size());
    std::size_t length = 0;
    const auto [blank, error] = std::from_chars(text.data(), text.data() + text.size(), length);
    const auto digits = static_cast<std::size_t>(blank - text.data());
    if (error != std::errc() || length == 0 || length > text.size() || text.size() - length < digits + 2 ||
        text[digits] != ' ' || text[digits + 1 + length] != '\n')
        return false;
    found.journal = text.substr(digits + 1, length);
    return zel::isAbsolute(found.journal) &&
           libDrive2::DriveIdentity::fromText(std::string(text.substr(digits + length + 2)), found.drive);
}

RegisteredJournal toJournal(const RegisterEntry& entry, const std::string& folder) {
    RegisteredJournal found;
    found.problem = entry.problem;
    if (found.problem.empty() && !fromText(entry.text, found)) {
        found = {};
        found.problem = words("it holds something else, or is damaged");
    }
    found.file = zel::textOf(zel::pathOf(folder) / zel::pathOf(entry.name));
    found.owner = entry.owner;
    if (!found.problem.empty())
        found.problem = words(
            "the entry {file} of user {user} in the register of open journals cannot be used: {reason}; find "
            "out what it is for, and delete it",
            {{"file", found.file}, {"user", found.owner}, {"reason", found.problem}});
    return found;
}

}  // namespace

std::string registeredPath(const std::string& journalPath) {
    std::error_code failed;
    const fs::path path = fs::absolute(zel::pathOf(journalPath), failed).lexically_normal();
    const std::string folder = zel::canonicalBeginning(zel::textOf(path.parent_path()));
    return zel::textOf(zel::pathOf(folder) / path.filename());
}

bool JournalRegister::add(const std::string& journalPath, const libDrive2::DriveIdentity& drive,
                          std::string& problem) {
    std::vector<RegisterEntry> entries;
    if (!m_folder.read(entries, problem))
        return false;
    const std::string journal = registeredPath(journalPath);
    const std::string stem =
        zel::textOf(zel::pathOf(journal).stem()).substr(0, kMostOfName) + "-" + RegisterFolder::user();
    std::string name = stem + ".open";
    const auto isOfAnother = [&](const RegisterEntry& entry) {
        return entry.name == name && toJournal(entry, m_folder.path()).journal != journal;
    };
    // Two journals of one name can lie in two folders.
    for (int n = 2; std::any_of(entries.begin(), entries.end(), isOfAnother); ++n)
        name = stem + "-" + std::to_string(n) + ".open";
    return m_folder.write(name, toText(journal, drive), problem);
}

bool JournalRegister::remove(const std::string& journalPath, std::string& problem) {
    std::vector<RegisterEntry> entries;
    if (!m_folder.read(entries, problem))
        return false;
    const std::string journal = registeredPath(journalPath);
    for (const RegisterEntry& entry : entries)
        if (entry.mayRemove && toJournal(entry, m_folder.path()).journal == journal &&
            !m_folder.remove(entry.name, problem))
            return false;
    return true;
}

bool JournalRegister::knows(const std::string& journalPath) const {
    std::vector<RegisteredJournal> journals;
    std::string problem;
    (void)list(journals, problem);
    return std::any_of(journals.begin(), journals.end(),
                       [wanted = registeredPath(journalPath)](const RegisteredJournal& each) {
                           return each.journal == wanted;
                       });
}

bool JournalRegister::list(std::vector<RegisteredJournal>& journals, std::string& problem) const {
    std::vector<RegisterEntry> entries;
    const bool isComplete = m_folder.read(entries, problem);
    for (const RegisterEntry& entry : entries)
        journals.push_back(toJournal(entry, m_folder.path()));
    return isComplete;
}

}  // namespace drivetest
