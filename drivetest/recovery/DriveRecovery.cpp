#include "drivetest/recovery/DriveRecovery.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <filesystem>
#include <utility>

#include "drivetest/devices/Drives.h"
#include "drivetest/recovery/ExportFolder.h"
#include "drivetest/safety/HeldDrive.h"
#include "drivetest/safety/JournalPlace.h"
#include "drivetest/safety/SystemAdvice.h"
#include "drivetest/terminal/Columns.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::marked;
using zel::words;

using libDrive2::JournalFolder;
using libDrive2::SectorFinding;

/// A power cut can leave thousands of pieces; the first ones show what it is like.
constexpr std::size_t kShownRanges = 20;

std::string timeText(std::uint64_t unixSeconds) {
    const auto seconds = static_cast<std::time_t>(unixSeconds);
    char text[32] = "";
    if (const std::tm* local = std::localtime(&seconds); local != nullptr)
        std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", local);
    return text;
}

/// By their finding: what is to be said of sectors, and what in a dry run; texts to translate.
constexpr std::array<std::pair<const char*, const char*>, libDrive2::kSectorFindings> kFindings{{
    {marked("{sectors} hold their data"), marked("{sectors} hold their data")},
    {marked("{sectors} restored"), marked("{sectors} would be restored")},
    {marked("{sectors} were cut off while written: restored, what they held is exported"),
     marked("{sectors} were cut off while written, would be restored")},
    {marked("{sectors} hold something else by now: left alone, their old data is exported"),
     marked("{sectors} hold something else by now: would be left alone, their old data exported")},
    {marked("{sectors} could NOT be restored"), marked("{sectors} could NOT be restored")},
    {marked("{sectors} are left alone for the sake of these, their old data is exported"),
     marked("{sectors} would be left alone for the sake of these, their old data exported")},
    {marked("{sectors} held something else: overwritten, what they held is exported"),
     marked("{sectors} hold something else by now: would be overwritten")},
}};

std::string sectorsOf(const libDrive2::JournalSlot& slot) {
    if (slot.spans.size() < 2)
        return sectorsText(slot.lba, slot.count);
    return words("{n} scattered sectors from {first} to {last}",
                 {{"n", slot.count},
                  {"first", slot.lba},
                  {"last", slot.spans.back().lba + slot.spans.back().count - 1}});
}

std::string findingText(const std::string& sectors, SectorFinding finding, bool dryRun) {
    const auto& [done, planned] = kFindings.at(static_cast<std::size_t>(finding));
    return words(dryRun ? planned : done, {{"sectors", sectors}});
}

}  // namespace

ExitStatus DriveRecovery::fail(const std::string& sentence, ExitStatus status) {
    complain(sentence);
    return status;
}

ExitStatus DriveRecovery::begin() {
    std::string problem;
    zel::String reason;
    switch (stateOfJournal(m_path, m_register.knows(m_path), &m_journal, problem)) {
        case OpenJournalState::missing:
            return fail(
                words("the journal {journal} is registered, but is not there now: connect or mount the disk "
                      "that it is on, or, "
                      "if it is gone for good, delete its entry in {folder}",
                      {{"journal", m_path}, {"folder", defaultRegisterFolder()}}));
        case OpenJournalState::busy:
            return fail(words("{journal} belongs to a test or a recovery that is still running",
                              {{"journal", m_path}}),
                        kExitBusy);
        case OpenJournalState::settled:
            return discard();
        case OpenJournalState::unreadable:
            return fail(words(
                "{reason}; it is left as it is, what it holds may be of use to somebody who can read it",
                {{"reason", problem}}));
        case OpenJournalState::open:
            break;
    }
    m_isOpen = true;
    return kExitPass;
}

ExitStatus DriveRecovery::run() {
    zel::String reason;
    m_file = JournalFolder::open(m_path, reason);
    if (m_file == nullptr)
        return fail(reason.utf8());
    m_journal = libDrive2::readJournal(*m_file->handle());
    showHeader();
    std::string problem;
    auto drive = findItsDrive(problem);
    return drive ? recoverOn(*drive) : fail(problem, m_isBusy ? kExitBusy : kExitNotRestored);
}

ExitStatus DriveRecovery::discard() {
    std::string problem;
    if (m_options.dryRun) {
        m_console.line(words("{journal}: its run left nothing to put back", {{"journal", m_path}}));
        return kExitPass;
    }
    if (!discardSettled(m_path, m_register, problem))
        return fail(problem, kExitInternalError);
    m_console.line(words("{journal}: its run left nothing to put back; deleted", {{"journal", m_path}}));
    return kExitPass;
}

void DriveRecovery::showHeader() const {
    const auto& header = m_journal.header;
    m_console.line(m_path);
    m_console.line("  " + words("of {drive}, begun {time} on {path}",
                                {{"drive", header.drive.describe()},
                                 {"time", timeText(header.createdUnixMicros / 1000000)},
                                 {"path", header.locator}}));
    for (const libDrive2::JournalSlot& slot : m_journal.open)
        m_console.line("  " + words("holds {sectors}", {{"sectors", sectorsOf(slot)}}));
    for (const libDrive2::JournalSlot& slot : m_journal.damaged)
        m_console.line("  " + words("LOST the data of {sectors}, which may hold test patterns: the journal's "
                                    "own medium is damaged",
                                    {{"sectors", slot.count != 0 ? sectorsText(slot.lba, slot.count)
                                                                 : words("sectors no longer known")}}));
    if (m_journal.expectedDamaged)
        m_console.line(
            "  " + words("lost the list of test patterns: sectors that hold some count as something else"));
}

/// Takes the drive, and looks only then whether it is the one: what its path leads to can change.
std::optional<LeasedDrive> DriveRecovery::take(const std::string& locator, std::string& problem) {
    LeasedDrive found;
    if (!findDrive(locator, found.device, problem))
        return std::nullopt;
    libDrive2::DeviceStatus failure;
    const auto purpose = m_options.dryRun ? libDrive2::LeasePurpose::look : libDrive2::LeasePurpose::write;
    found.lease = libDrive2::DeviceLease::take(found.device.osLocator(), purpose, failure);
    if (found.lease == nullptr) {
        m_isBusy = failure.type == libDrive2::LIBDRIVE2_BUSY;
        problem = m_isBusy ? words("{reason}; {advice}",
                                   {{"reason", failure.text}, {"advice", adviceOnUsedDrive()}})
                           : failure.text.shown().utf8();
        return std::nullopt;
    }
    if (const zel::String path = found.lease->descriptorPath(); !path.isEmpty())
        describeAgain(found.device, path.utf8());
    return found;
}

/// Of what is not named, only what is proven to be the drive is taken at all.
bool DriveRecovery::isItsDrive(const std::string& locator) const {
    libDrive2::DeviceStatus failure;
    const auto looked = libDrive2::DeviceLease::take(locator, libDrive2::LeasePurpose::look, failure);
    return looked != nullptr && libDrive2::isSameDrive(looked->identity(), m_journal.header.drive);
}

std::optional<LeasedDrive> DriveRecovery::findItsDrive(std::string& problem) {
    const libDrive2::JournalHeader& header = m_journal.header;
    if (!m_options.device.empty())
        return take(m_options.device, problem);
    if (isItsDrive(header.locator.utf8()))
        return take(header.locator.utf8(), problem);
    for (const zel::String& locator : libDrive2::DeviceLease::listLocators())
        if (isItsDrive(locator.utf8()))
            return take(locator.utf8(), problem);
    const std::string folder = zel::textOf(zel::pathOf(m_path).parent_path());
    problem = libDrive2::isStable(header.drive) ? words("its drive is not there: connect it, then try again")
                                                : words(
                                                      "nothing that lasts is known of its drive, so another "
                                                      "one could be taken for it: name it, with {command}",
                                                      {{"command", recoverCommand("DEVICE", folder)}});
    return std::nullopt;
}

ExitStatus DriveRecovery::recoverOn(LeasedDrive& found) {
    zel::Wording reason;
    const auto drive = found.lease->openBlock(!m_options.dryRun, reason);
    if (!drive)
        return fail(reason.shown().utf8());
    const std::filesystem::path file = zel::pathOf(m_path);
    ExportFolder sink(
        m_options.exportFolder.empty() ? zel::textOf(file.parent_path()) : m_options.exportFolder,
        zel::textOf(file.stem()));
    const auto handle = m_file->handle();
    libDrive2::RecoveryTask task{handle.get(), &m_journal,
                                 drive.get(),  identityOf(*found.lease, found.device),
                                 &sink,        m_options.dryRun};
    task.isNamed = !m_options.device.empty();
    task.force = m_options.force;
    const auto report = libDrive2::recover(task);
    m_isOfOtherDrive = report.isOtherDrive && task.isNamed;
    showFindings(report);
    for (const std::string& exported : sink.files())
        m_console.line("  " + padded(words("exported"), 10) + exported);
    if (!sink.problem().empty())
        complain(sink.problem());
    return settle(report, found.device.osLocator().utf8());
}

void DriveRecovery::showFindings(const libDrive2::RecoveryReport& report) const {
    for (std::size_t i = 0; i < std::min(report.ranges.size(), kShownRanges); ++i) {
        const libDrive2::FoundRange& range = report.ranges[i];
        std::string text =
            "  " + findingText(sectorsText(range.lba, range.count), range.finding, m_options.dryRun);
        if (!range.problem.isEmpty())
            text = words("{problem}: {reason}", {{"problem", text}, {"reason", range.problem}});
        m_console.line(text);
    }
    if (report.ranges.size() <= kShownRanges)
        return;
    m_console.line("  " + words("and so on; all in all"));
    for (std::size_t i = 0; i < libDrive2::kSectorFindings; ++i)
        if (report.counts[i] != 0)
            m_console.line("  " + findingText(zel::counted(report.counts[i], "{n} sector", "{n} sectors"),
                                              static_cast<SectorFinding>(i), m_options.dryRun));
}

/// Why the journal stays, and what the person can do.
void DriveRecovery::showKept(const libDrive2::RecoveryReport& report, const std::string& path) const {
    std::string advice = words("\"drivetest recover\" can be tried again");
    if (report.isOtherDrive)
        advice = words("name the drive that it is of");
    else if (report.mayBeCopy)
        advice = words(
            "all sectors of {drive} hold their data, but so would a copy of the drive, and the system proves "
            "nothing of it that "
            "lasts. If it is the drive, say so with --force",
            {{"drive", path}});
    else if (report.fingerprint.changed > 0)
        advice = words(
            "nothing was written. If it is the drive, and the data of the journal is wanted back all the "
            "same, use --force: what is overwritten is exported first");
    else if (report.count(SectorFinding::foreign) > 0)
        advice = words(
            "somebody has written to these sectors since. If the data of the journal is wanted back all the "
            "same, use --force: what is overwritten is exported first");
    else if (!m_journal.damaged.empty())
        advice = words("delete it when you have done with what it says");
    complain(words("the journal {journal} is kept: {advice}", {{"journal", m_path}, {"advice", advice}}));
}

ExitStatus DriveRecovery::settle(const libDrive2::RecoveryReport& report, const std::string& path) {
    if (!report.problem.isEmpty())
        complain(words("{problem}: {reason}", {{"problem", path}, {"reason", report.problem}}));
    if (m_options.dryRun)
        return kExitNotRestored;
    if (!report.isComplete()) {
        showKept(report, path);
        return kExitNotRestored;
    }
    std::string problem;
    zel::String reason;
    if (!m_register.remove(m_path, problem))
        return fail(problem, kExitInternalError);
    if (!m_file->remove(reason))
        return fail(reason.utf8(), kExitInternalError);
    m_isOpen = false;
    m_console.line("  " + words("all its data is on the drive again, and read back; the journal is deleted"));
    return kExitPass;
}

}  // namespace drivetest
