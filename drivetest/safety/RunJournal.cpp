#include "drivetest/safety/RunJournal.h"

#include <algorithm>
#include <chrono>
#include <set>

#include "drivetest/safety/JournalPlace.h"
#include "drivetest/safety/OpenJournals.h"
#include "drivetest/terminal/Labels.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Format.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

using libDrive2::DriveIdentity;
using libDrive2::JournalFolder;

/// The most that tests overwrite at a time, and a physical sector before and after it, or the table of where
/// scattered sectors lie.
constexpr std::uint64_t kChunkBytes = 32 << 20;
constexpr std::uint64_t kBesideChunk = 128 << 10;
constexpr std::uint64_t kMostPatterns = 32 << 20;
/// Scattered sectors can be thousands.
constexpr std::size_t kShownRanges = 20;

ExitStatus refuse(const std::string& sentence, ExitStatus status) {
    complain(words("{reason}; nothing was written", {{"reason", sentence}}));
    return status;
}

/// What is to be done about a journal that keeps the run off the drive.
std::string adviceOn(const OpenJournal& found, const std::string& locator) {
    const std::string& path = found.journal.journal;
    const std::string folder = zel::textOf(zel::pathOf(path).parent_path());
    switch (found.state) {
        case OpenJournalState::open:
            return words(
                "an interrupted test left data of {drive} in {journal}: put it back first, with {command}",
                {{"drive", locator}, {"journal", path}, {"command", recoverCommand(locator, folder)}});
        case OpenJournalState::busy:
            return words(
                "a test or a recovery of the same storage as {drive} is using the journal {journal}: wait "
                "for its end",
                {{"drive", locator}, {"journal", path}});
        case OpenJournalState::missing:
            return words(
                "an interrupted test left data of {drive} in {journal}, which is not there now: connect or "
                "mount "
                "its disk and put the data back with {command}, or delete {entry} if the journal is gone for "
                "good",
                {{"drive", locator},
                 {"journal", path},
                 {"command", recoverCommand(locator, folder)},
                 {"entry", found.journal.file}});
        default:
            return words("{reason}; as long as it is there, nothing is written to {drive}",
                         {{"reason", found.journal.problem}, {"drive", locator}});
    }
}

/// Microseconds and the drive, as in "1795275467886994-S4EVNX0N": sorted by time, and for a person to
/// recognise.
std::string fileName(const DriveIdentity& drive) {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto micros = std::chrono::duration_cast<std::chrono::microseconds>(now).count();
    std::string name = drive.serial.utf8();
    if (name.empty())
        name = zel::textOf(
            zel::pathOf(drive.model.utf8().substr(drive.model.utf8().find_last_of(',') + 1)).filename());
    return std::to_string(micros) + "-" + fileNameText(name);
}

/// For whoever recovers from another folder.
std::string absolutePath(const std::string& locator) {
    const std::string path = zel::canonicalPath(locator);
    return path.empty() ? locator : path;
}

}  // namespace

RunJournal::~RunJournal() {
    discard();
}

/// A refused run leaves no journal.
void RunJournal::discard() {
    if (m_file == nullptr || (m_journal != nullptr && m_journal->hasOpenSlots()))
        return;
    std::string problem;
    zel::String reason;
    if (m_register.remove(path(), problem) && m_file->remove(reason))
        m_file.reset();
}

ExitStatus RunJournal::prepare(const JournalRequest& request, Console& console) {
    m_folder = request.folder.empty() ? defaultJournalFolder() : request.folder;
    if (const ExitStatus refused = refuseOpenJournals(request, console); refused != kExitPass)
        return refused;
    if (!request.preserves)
        return kExitPass;
    if (request.wanted && request.held.lease().outlivesProcess())
        if (const ExitStatus refused = create(request, console); refused != kExitPass)
            return refused;
    m_watched = std::make_unique<WatchedJournal>(m_journal.get());
    return kExitPass;
}

/// In the register, in the folder of this run, and in the usual one, where journals may lie that were never
/// registered.
ExitStatus RunJournal::refuseOpenJournals(const JournalRequest& request, Console& console) {
    const JournalSearch search{{m_folder, defaultJournalFolder()}, path()};
    const OpenJournals found = findOpenJournals(request.held.identity(), search, m_register);
    if (!found.problem.empty())
        return refuse(found.problem, kExitCannotRun);
    if (!found.warning.empty() && m_file == nullptr)
        console.line("  " + found.warning);
    std::string ignored;
    for (const RegisteredJournal& settled : found.settled)
        discardSettled(settled.journal, m_register, ignored);
    if (found.open.empty())
        return kExitPass;
    return refuse(adviceOn(found.open.front(), request.device.osLocator().utf8()),
                  found.open.front().state == OpenJournalState::busy ? kExitBusy : kExitNotRestored);
}

ExitStatus RunJournal::create(const JournalRequest& request, Console& console) {
    const DriveIdentity& drive = request.held.identity();
    JournalFolder folder(m_folder);
    zel::String reason;
    if (folder.isOnDrive(drive, request.device.osLocator(), reason))
        return refuse(words("the undo journal must not lie on the drive under test: {reason}; name another "
                            "folder with --journal",
                            {{"reason", reason}}),
                      kExitUsage);
    if (!reason.isEmpty())
        console.line("  " + reason.utf8());
    if (!createFile(request, reason))
        return refuse(words("there can be no undo journal: {reason}; name another folder with --journal, or "
                            "go without it "
                            "with --no-journal",
                            {{"reason", reason}}),
                      kExitCannotRun);
    if (folder.isVolatile())
        console.line("  " + words("the undo journal in {folder} outlives a crash of the program, but no "
                                  "power cut: the folder is in memory",
                                  {{"folder", m_folder}}));
    for (const std::string& line : journalCostLines(drive.sectors * drive.sectorBytes, m_folder))
        console.line("  " + line);
    return announce(request, console);
}

bool RunJournal::createFile(const JournalRequest& request, zel::String& reason) {
    const DriveIdentity& drive = request.held.identity();
    zel::Wording why;
    const auto handle = request.held.lease().openBlock(false, why);
    if (!handle) {
        reason = why.shown();
        return false;
    }
    const std::uint64_t driveBytes = drive.sectors * drive.sectorBytes;
    const libDrive2::JournalSettings settings{drive, absolutePath(request.device.osLocator().utf8()),
                                              std::min(kChunkBytes, driveBytes) + kBesideChunk,
                                              request.verifyRestores, libDrive2::takeFingerprint(*handle)};
    m_file = JournalFolder(m_folder).create(
        fileName(drive),
        libDrive2::UndoJournal::fileBytes(settings.slotBytes, std::min(kMostPatterns, driveBytes)), reason);
    if (m_file != nullptr)
        m_journal = libDrive2::UndoJournal::create(m_file->handle(), settings, reason);
    return m_journal != nullptr;
}

/// Registered first, and then looked for others once more: of two runs that begin at the same time, at least
/// one sees the other.
ExitStatus RunJournal::announce(const JournalRequest& request, Console& console) {
    std::string problem;
    if (!m_register.add(path(), request.held.identity(), problem)) {
        if (RegisterFolder::isRequired())
            return refuse(problem, kExitCannotRun);
        console.line(
            "  " + words("{reason}: tests of other users will not know of this one", {{"reason", problem}}));
    }
    return refuseOpenJournals(request, console);
}

bool RunJournal::finish(const std::string& locator, Console& console) {
    if (m_watched == nullptr)
        return true;
    const bool restored = m_watched->unrestored().empty();
    if (!m_watched->failure().empty())
        console.line(eventLabel(words("error:")) + m_watched->failure());
    if (!restored)
        showUnrestored(locator, console);
    if (m_journal == nullptr)
        return restored;
    if (m_journal->hasOpenSlots()) {
        if (restored)
            console.line(eventIndent() +
                         words("all data was put back, but the journal {journal} could not be closed: "
                               "{command} does that",
                               {{"journal", path()}, {"command", recoverCommand(locator, m_folder)}}));
        return restored;
    }
    close(console);
    return restored;
}

/// The entry goes first: one without a journal would look like a journal that is on a disk elsewhere.
void RunJournal::close(Console& console) {
    zel::String reason;
    std::string problem;
    if (!m_journal->close())
        problem = m_journal->lastErrorStr().shown().utf8();
    else if (m_register.remove(path(), problem) && !m_file->remove(reason))
        problem = reason.utf8();
    if (problem.empty())
        m_file.reset();
    else
        console.line(eventLabel(words("warning:")) +
                     words("the undo journal {journal} is of no more use, but is still there: {reason}",
                           {{"journal", path()}, {"reason", problem}}));
}

void RunJournal::showUnrestored(const std::string& locator, Console& console) const {
    console.line(eventLabel(words("error:")) +
                 words("NOT ALL DATA WAS PUT BACK on {drive}", {{"drive", locator}}));
    const std::vector<WatchedJournal::Range>& ranges = m_watched->unrestored();
    for (std::size_t i = 0; i < std::min(ranges.size(), kShownRanges); ++i)
        console.line(eventIndent() + words("{sectors} may hold test patterns",
                                           {{"sectors", sectorsText(ranges[i].lba, ranges[i].count)}}));
    if (ranges.size() > kShownRanges)
        console.line(eventIndent() + words("and further scattered sectors, up to {lba}",
                                           {{"lba", ranges.back().lba + ranges.back().count - 1}}));
    if (m_file != nullptr)
        console.line(eventIndent() +
                     words("their data is in {journal}: {command} puts it back when the drive takes it",
                           {{"journal", path()}, {"command", recoverCommand(locator, m_folder)}}));
}

}  // namespace drivetest
