#include "drivetest/safety/RunJournal.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <filesystem>
#include <set>

#include "drivetest/safety/JournalPlace.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Format.h"

namespace drivetest {

namespace {

using libDrive2::DriveIdentity;
using libDrive2::JournalFolder;

/// The most that tests overwrite at a time, and a physical sector before and after it.
constexpr std::uint64_t kChunkBytes = 32 << 20;
constexpr std::uint64_t kBesideChunk = 128 << 10;
constexpr std::uint64_t kMostPatterns = 32 << 20;

ExitStatus refuse(const std::string& sentence, ExitStatus status) {
    complain(sentence + "; nothing was written");
    return status;
}

/// Whether the journal of an ended run holds nothing that anybody needs.
bool isSettled(const libDrive2::JournalContents& journal) {
    return !journal.needsRecovery() && (journal.state == libDrive2::JournalState::valid ||
                                        journal.state == libDrive2::JournalState::unused);
}

/// A journal in the folder that still holds data of this drive; empty when there is none.
std::string findOpenJournal(const JournalFolder& folder, const DriveIdentity& drive, std::string& problem) {
    zel::Array<zel::String> paths;
    zel::String reason;
    if (!folder.list(paths, reason)) {
        problem = reason.utf8();
        return {};
    }
    for (const zel::String& path : paths) {
        if (JournalFolder::isInUse(path))
            continue;  // the guard keeps two runs off one drive
        const auto file = JournalFolder::open(path, reason);
        const auto found = file ? libDrive2::readJournal(*file->handle()) : libDrive2::JournalContents{};
        if (found.needsRecovery()) {
            if (libDrive2::sharesStorage(found.header.drive, drive))
                return path.utf8();
        } else if (isSettled(found)) {
            JournalFolder::remove(path, reason);
        } else
            complain(path.utf8() + " is no readable journal, so it is not known of which drive: " +
                     (file ? found.problem : reason).utf8());
    }
    return {};
}

/// Microseconds and the drive, as in "1795275467886994-S4EVNX0N": sorted by time, and for a person to
/// recognise.
std::string fileName(const DriveIdentity& drive) {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto micros = std::chrono::duration_cast<std::chrono::microseconds>(now).count();
    std::string name = drive.serial.utf8();
    if (name.empty())
        name = drive.model.utf8().substr(drive.model.utf8().find_last_of("/,") + 1);
    std::replace_if(
        name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c) == 0 && c != '.'; }, '_');
    return std::to_string(micros) + "-" + name.substr(0, 40);
}

/// For whoever recovers from another folder.
std::string absolutePath(const std::string& locator) {
    std::error_code none;
    const auto path = std::filesystem::canonical(locator, none);
    return none ? locator : path.string();
}

/// What a simulated drive holds in memory is gone with the process anyway.
bool outlivesProcess(const std::string& locator) {
    return !locator.starts_with("sim:") || locator.find("image=") != std::string::npos;
}

}  // namespace

ExitStatus RunJournal::prepare(const JournalRequest& request, Console& console) {
    const DriveIdentity& drive = request.held.identity();
    std::string error;
    const std::string locator = request.device.osLocator().utf8();
    m_folder = request.folder.empty() ? defaultJournalFolder() : request.folder;
    // Another folder does not make the data of an interrupted run go away.
    for (const std::string& folder : std::set{m_folder, defaultJournalFolder()}) {
        const std::string open = findOpenJournal(JournalFolder(folder), drive, error);
        if (!error.empty())
            return refuse(error, kExitCannotRun);
        if (!open.empty())
            return refuse(zel::format("an interrupted test left data of %s in %s: put it back first, with %s",
                                      locator.c_str(), open.c_str(), recoverCommand(locator, folder).c_str())
                              .utf8(),
                          kExitNotRestored);
    }
    if (!request.preserves)
        return kExitPass;
    if (request.wanted && outlivesProcess(locator))
        if (const ExitStatus refused = create(request, drive, console); refused != kExitPass)
            return refused;
    m_watched = std::make_unique<WatchedJournal>(m_journal.get());
    return kExitPass;
}

ExitStatus RunJournal::create(const JournalRequest& request, const DriveIdentity& drive, Console& console) {
    JournalFolder folder(m_folder);
    zel::String reason;
    if (folder.isOnDrive(drive, request.device.osLocator(), reason))
        return refuse("the undo journal must not lie on the drive under test: " + reason.utf8() +
                          "; name another folder with --journal",
                      kExitUsage);
    if (!reason.isEmpty())
        console.line("  " + reason.utf8());
    const std::uint64_t driveBytes = drive.sectors * drive.sectorBytes;
    const libDrive2::JournalSettings settings{drive, absolutePath(request.device.osLocator().utf8()),
                                              std::min(kChunkBytes, driveBytes) + kBesideChunk,
                                              request.verifyRestores};
    m_file = folder.create(
        fileName(drive),
        libDrive2::UndoJournal::fileBytes(settings.slotBytes, std::min(kMostPatterns, driveBytes)), reason);
    if (m_file != nullptr)
        m_journal = libDrive2::UndoJournal::create(m_file->handle(), settings, reason);
    if (m_journal == nullptr)
        return refuse("there can be no undo journal: " + reason.utf8() +
                          "; name another folder with --journal, or go without it with --no-journal",
                      kExitCannotRun);
    if (folder.isVolatile())
        console.line("  the undo journal in " + m_folder +
                     " outlives a crash of the program, but no power cut: the folder is in memory");
    return kExitPass;
}

bool RunJournal::finish(const std::string& locator, Console& console) {
    if (m_watched == nullptr)
        return true;
    const bool restored = m_watched->unrestored().empty();
    if (!m_watched->failure().empty())
        console.line("error:   " + m_watched->failure());
    if (!restored)
        showUnrestored(locator, console);
    if (m_journal == nullptr)
        return restored;
    if (m_journal->hasOpenSlots()) {
        if (restored)
            console.line("         all data was put back, but the journal " + path() +
                         " could not be closed: " + recoverCommand(locator, m_folder) + " does that");
        return restored;
    }
    zel::String reason;
    if (!m_journal->close())
        reason = m_journal->lastErrorStr();
    else if (JournalFolder::remove(m_file->path(), reason))
        m_file.reset();
    if (m_file != nullptr)
        console.line("warning: the undo journal " + path() +
                     " is of no more use, but is still there: " + reason.utf8());
    return restored;
}

void RunJournal::showUnrestored(const std::string& locator, Console& console) const {
    console.line("error:   NOT ALL DATA WAS PUT BACK on " + locator);
    for (const WatchedJournal::Range& range : m_watched->unrestored())
        console.line("         " + sectorsText(range.lba, range.count) + " may hold test patterns");
    if (m_file != nullptr)
        console.line("         their data is in " + path() + ": " + recoverCommand(locator, m_folder) +
                     " puts it back when the drive takes it");
}

}  // namespace drivetest
