#include "drivetest/shelf/kept/WorkFile.h"

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include "drivetest/resume/ResumeFile.h"
#include "drivetest/shelf/kept/KeptWork.h"
#include "drivetest/shelf/kept/WorkArguments.h"
#include "drivetest/shelf/kept/WorkWords.h"
#include "drivetest/terminal/Texts.h"
#include "libDrive2/DriveIdentity.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

constexpr std::string_view kStem = "shelf";
constexpr std::string_view kEnd = ".work";
constexpr int kMostAlike = 1000;

Json headOf(const ShelfWork& work) {
    Json head{{"format", kWorkFormat},           {"program", "drivetest"}, {"version", DRIVETEST_VERSION},
              {"commandLine", work.commandLine}, {"jobs", work.jobs},      {"drives", work.drives.size()}};
    if (work.hangSeconds)
        head["hangSeconds"] = *work.hangSeconds;
    return {{"shelf", std::move(head)}};
}

/// Empty for one that says nothing, such as of a drive without a medium.
std::string identityOf(const DriveWork& drive) {
    libDrive2::DriveIdentity readBack;
    std::string text = drive.identity ? drive.identity->toText() : std::string();
    return libDrive2::DriveIdentity::fromText(text, readBack) ? text : std::string();
}

Json lineOf(const DriveWork& drive) {
    Json runs = Json::array();
    for (const RunOptions& options : drive.runs)
        runs.push_back(keptArgumentsOf(options));
    return {{"drive",
             {{"device", lastingPath(drive.device)},
              {"name", drive.name},
              {"identity", identityOf(drive)},
              {"onFailure", nameIn(kOnFailureNames, drive.onFailure)},
              {"bytes", static_cast<std::uint64_t>(drive.bytes)},
              {"refusal", drive.refusal},
              {"status", static_cast<unsigned>(drive.refusedAs)},
              {"runs", std::move(runs)}}}};
}

/// The program alone decides what it writes to here: it is no drive's and no journal's.
OutputRules freeRules(bool mayGoOn) {
    return {[](const std::string& /*path*/) { return std::string(); }, mayGoOn};
}

std::string nameOfWork(int number) {
    return std::string(kStem) + (number == 1 ? "" : "-" + std::to_string(number)) + std::string(kEnd);
}

std::string whatItIs() {
    return words("what is left of the work");
}

}  // namespace

std::shared_ptr<WorkFile> WorkFile::make(const std::string& folder, const ShelfWork& work,
                                         std::string& problem) {
    std::string path;
    int number = 0;
    std::error_code unknown;
    do
        path = zel::textOf(zel::pathOf(folder) / zel::pathOf(nameOfWork(++number)));
    while (std::filesystem::exists(std::filesystem::symlink_status(zel::pathOf(path), unknown)) &&
           number <= kMostAlike);
    OutputFile file = openOutput(whatItIs(), path, freeRules(false), problem);
    if (!file || !file.begin())
        return nullptr;
    std::shared_ptr<WorkFile> made(new WorkFile(path, std::move(file)));
    made->m_waiting = made->m_seal.seal(headOf(work));
    for (const DriveWork& drive : work.drives)
        made->m_waiting += made->m_seal.seal(lineOf(drive));
    if (made->write())
        return made;
    problem = made->m_problem;
    made.reset();
    std::filesystem::remove(zel::pathOf(path), unknown);
    return nullptr;
}

std::shared_ptr<WorkFile> WorkFile::goOn(const KeptWork& work, std::string& problem) {
    OutputFile file = openOutput(whatItIs(), work.file, freeRules(true), problem);
    std::string text;
    std::string reason;
    if (!file || !readRecordText(work.file, text, reason)) {
        problem = problem.empty() ? words("{file} cannot be resumed: {reason}",
                                          {{"file", printable(work.file)}, {"reason", reason}})
                                  : problem;
        return nullptr;
    }
    std::shared_ptr<WorkFile> opened(new WorkFile(work.file, std::move(file)));
    std::size_t begin = 0;
    for (std::size_t end = 0; begin < work.bytes && (end = text.find('\n', begin)) != std::string::npos &&
                              opened->m_seal.open(std::string_view(text).substr(begin, end - begin));)
        begin = end + 1;
    opened->m_bytes = begin;
    // What a power cut left of a line goes; a line that is whole by now is another shelf's.
    const std::string_view rest = std::string_view(text).substr(begin);
    const bool isOurs =
        begin == work.bytes && !WorkSeal(opened->m_seal).open(rest.substr(0, rest.find('\n')));
    if (isOurs && opened->m_file.goOnAt(begin))
        return opened;
    problem = words("{file} cannot be resumed: {reason}",
                    {{"file", printable(work.file)},
                     {"reason", words("another drivetest goes on with it; wait for that one, or stop it")}});
    return nullptr;
}

void WorkFile::started(std::size_t drive, std::size_t run, const std::string& record) {
    const std::string name = zel::textOf(zel::pathOf(record).filename());
    add({{"started", {{"drive", drive}, {"run", run}, {"record", name}}}});
}

void WorkFile::ended(std::size_t drive, const RunOutcome& outcome) {
    Json line{{"drive", drive},
              {"run", outcome.run},
              {"status", static_cast<unsigned>(outcome.status)},
              {"test", outcome.test},
              {"words", outcome.words}};
    if (outcome.end == RunEnd::leftOut) {
        add({{"leftOut", std::move(line)}});
        return;
    }
    line["end"] = nameIn(kRunEndNames, outcome.end);
    add({{"ended", std::move(line)}});
}

void WorkFile::over(int status) {
    add({{"over", {{"status", status}}}});
}

void WorkFile::add(const Json& line) {
    m_waiting += m_seal.seal(line);
    (void)write();
}

bool WorkFile::write() {
    const bool isWritten = m_file.write(m_waiting) && m_file.sync();
    const std::string reason = isWritten ? "" : std::generic_category().message(errno);
    if (isWritten) {
        m_bytes += m_waiting.size();
        m_waiting.clear();
        m_problem.clear();
        return true;
    }
    m_problem = words("{file} cannot be written to: {reason}", {{"file", m_path}, {"reason", reason}});
    // The lines are written as a whole, or not at all.
    (void)m_file.goOnAt(m_bytes);
    return false;
}

bool isNameOfWork(std::string_view name) {
    if (!name.starts_with(kStem) || !name.ends_with(kEnd) || name.size() < kStem.size() + kEnd.size())
        return false;
    name.remove_prefix(kStem.size());
    name.remove_suffix(kEnd.size());
    return name.empty() || (name.size() > 1 && name.size() <= 5 && name.front() == '-' &&
                            name.find_first_not_of("0123456789", 1) == std::string_view::npos);
}

}  // namespace drivetest
