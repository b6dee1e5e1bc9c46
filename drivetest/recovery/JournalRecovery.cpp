#include "drivetest/recovery/JournalRecovery.h"

#include <algorithm>
#include <ctime>
#include <filesystem>

#include "drivetest/devices/Drives.h"
#include "drivetest/recovery/ExportFolder.h"
#include "drivetest/safety/Identity.h"
#include "drivetest/safety/JournalPlace.h"
#include "drivetest/terminal/Texts.h"
#include "libDrive2/DeviceLockingManager.h"
#include "libDrive2/DeviceOpeners.h"

namespace drivetest {

namespace {

using libDrive2::DriveIdentity;
using libDrive2::JournalFolder;
using libDrive2::JournalState;
using libDrive2::SectorFinding;
using quix5::DiagDevice;

/// A power cut can leave thousands of pieces; the first ones show what it is like.
constexpr std::size_t kShownRanges = 20;

std::string timeText(std::uint64_t unixSeconds) {
    const auto seconds = static_cast<std::time_t>(unixSeconds);
    char text[32] = "";
    if (const std::tm* local = std::localtime(&seconds); local != nullptr)
        std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", local);
    return text;
}

const char* verbOf(SectorFinding finding, bool dryRun) {
    switch (finding) {
        case SectorFinding::equal:
            return "hold their data";
        case SectorFinding::restored:
            return dryRun ? "would be restored" : "restored";
        case SectorFinding::torn:
            return dryRun ? "were cut off while written, would be restored"
                          : "were cut off while written: restored, what they held is exported";
        case SectorFinding::foreign:
            return dryRun ? "hold something else by now: would be left alone, their old data exported"
                          : "hold something else by now: left alone, their old data is exported";
        case SectorFinding::failed:
            return "could NOT be restored";
        case SectorFinding::withheld:
            return dryRun ? "would be left alone for the sake of these, their old data exported"
                          : "are left alone for the sake of these, their old data is exported";
        case SectorFinding::replaced:
            return dryRun ? "hold something else by now: would be overwritten"
                          : "held something else: overwritten, what they held is exported";
    }
    return "";
}

}  // namespace

ExitStatus JournalRecovery::fail(const std::string& sentence, ExitStatus status) {
    complain(sentence);
    return status;
}

ExitStatus JournalRecovery::run() {
    if (JournalFolder::isInUse(m_path))
        return fail(m_path + " belongs to a test that is still running, or cannot be examined", kExitBusy);
    zel::String reason;
    m_file = JournalFolder::open(m_path, reason);
    if (m_file == nullptr)
        return fail(reason.utf8());
    m_journal = libDrive2::readJournal(*m_file->handle());
    if (m_journal.state == JournalState::unused ||
        (m_journal.state == JournalState::valid && !m_journal.needsRecovery()))
        return discard();
    if (m_journal.state != JournalState::valid)
        return fail(m_path + " cannot be used: " + m_journal.problem.utf8() +
                    "; it is left as it is, what it holds may be of use to somebody who can read it");
    showHeader();
    DriveIdentity identity;
    std::string problem;
    const auto device = findItsDrive(identity, problem);
    m_isOfOtherDrive =
        !device && !m_options.device.empty() && !drivetest::isSameDrive(identity, m_journal.header.drive);
    return device ? recoverOn(*device, identity) : fail(problem);
}

ExitStatus JournalRecovery::discard() {
    zel::String reason;
    if (m_options.dryRun) {
        m_console.line(m_path + ": its run left nothing to put back");
        return kExitPass;
    }
    if (!JournalFolder::remove(m_path, reason))
        return fail(reason.utf8(), kExitInternalError);
    m_console.line(m_path + ": its run left nothing to put back; deleted");
    return kExitPass;
}

void JournalRecovery::showHeader() const {
    const auto& header = m_journal.header;
    m_console.line(m_path);
    m_console.line("  of " + header.drive.describe().utf8() + ", begun " +
                   timeText(header.createdUnixMicros / 1000000) + " on " + header.locator.utf8());
    for (const libDrive2::JournalSlot& slot : m_journal.open)
        m_console.line("  holds " + sectorsText(slot.lba, slot.count));
    for (const libDrive2::JournalSlot& slot : m_journal.damaged)
        m_console.line("  LOST the data of " +
                       (slot.count != 0 ? sectorsText(slot.lba, slot.count) : "sectors no longer known") +
                       ", which may hold test patterns: the journal's own medium is damaged");
    if (m_journal.expectedDamaged)
        m_console.line("  lost the list of test patterns: sectors that hold some count as something else");
}

bool JournalRecovery::matches(const DiagDevice& device, DriveIdentity& identity, std::string& problem) const {
    identity = {};
    if (!identify(device, identity, problem))
        return false;
    const DriveIdentity& wanted = m_journal.header.drive;
    if (identity == wanted)
        return true;
    const std::string path = device.osLocator().utf8();
    problem = drivetest::isSameDrive(identity, wanted)
                  ? path + " is the drive, but of another size: " + identity.describe().utf8() +
                        "; nothing was written to it"
                  : path + " is another drive: " + identity.describe().utf8();
    return false;
}

std::optional<DiagDevice> JournalRecovery::findItsDrive(DriveIdentity& identity, std::string& problem) const {
    const libDrive2::JournalHeader& header = m_journal.header;
    DiagDevice device;
    if (!m_options.device.empty()) {
        if (findDrive(m_options.device, device, problem) && matches(device, identity, problem))
            return device;
        return std::nullopt;
    }
    if (!isUnmistakable(header.drive)) {
        problem = "its drive has no serial number, so another one could be taken for it: name it, with " +
                  recoverCommand("DEVICE", std::filesystem::path(m_path).parent_path().string());
        return std::nullopt;
    }
    if (findDrive(header.locator.utf8(), device, problem) && matches(device, identity, problem))
        return device;
    std::string resized;
    for (const DiagDevice& listed : listDrives()) {
        if (matches(listed, identity, problem))
            return listed;
        if (drivetest::isSameDrive(identity, header.drive))
            resized = problem;
    }
    problem = !resized.empty()
                  ? resized
                  : "its drive is not there: connect it, or name it: \"drivetest recover DEVICE\"";
    return std::nullopt;
}

ExitStatus JournalRecovery::recoverOn(const DiagDevice& device, const DriveIdentity& identity) {
    const zel::String& path = device.osLocator();
    libDrive2::DeviceLockingManager volumes(path);
    if (!m_options.dryRun && !volumes.lockVolumes())
        return fail(volumes.getLastErrorStr().utf8() + "; unmount it, stop what uses it, then try again",
                    kExitBusy);
    const std::uint32_t access = libDrive2::kAccessRead | (m_options.dryRun ? 0U : libDrive2::kAccessWrite);
    const auto drive = libDrive2::OsDevice::openOsDevice(
        path, access, libDrive2::kShareRead | libDrive2::kShareWrite, libDrive2::kOpenExisting, 0);
    if (!drive)
        return fail(libDrive2::lastOpenErrorStr().utf8());
    const std::filesystem::path file(m_path);
    ExportFolder sink(m_options.exportFolder.empty() ? file.parent_path().string() : m_options.exportFolder,
                      file.stem().string());
    const auto handle = m_file->handle();
    const auto report =
        libDrive2::recover({handle.get(), &m_journal, drive.get(), identity, &sink, m_options.dryRun});
    showFindings(report);
    for (const std::string& exported : sink.files())
        m_console.line("  exported  " + exported);
    if (!sink.problem().empty())
        complain(sink.problem());
    return settle(report);
}

void JournalRecovery::showFindings(const libDrive2::RecoveryReport& report) const {
    for (std::size_t i = 0; i < std::min(report.ranges.size(), kShownRanges); ++i) {
        const libDrive2::FoundRange& range = report.ranges[i];
        std::string text =
            "  " + sectorsText(range.lba, range.count) + " " + verbOf(range.finding, m_options.dryRun);
        if (!range.problem.isEmpty())
            text += ": " + range.problem.utf8();
        m_console.line(text);
    }
    if (report.ranges.size() <= kShownRanges)
        return;
    m_console.line("  and so on; all in all");
    for (std::size_t i = 0; i < libDrive2::kSectorFindings; ++i)
        if (report.counts[i] != 0)
            m_console.line("  " + countText(report.counts[i], "sector") + " " +
                           verbOf(static_cast<SectorFinding>(i), m_options.dryRun));
}

ExitStatus JournalRecovery::settle(const libDrive2::RecoveryReport& report) {
    if (!report.problem.isEmpty())
        complain(report.problem.utf8());
    if (m_options.dryRun)
        return kExitNotRestored;
    if (!report.isComplete()) {
        complain("the journal " + m_path + " is kept: " +
                 (m_journal.damaged.empty() ? "\"drivetest recover\" can be tried again"
                                            : "delete it when you have done with what it says"));
        return kExitNotRestored;
    }
    zel::String reason;
    m_file.reset();
    if (!JournalFolder::remove(m_path, reason))
        return fail(reason.utf8(), kExitInternalError);
    const bool allBack = report.count(SectorFinding::foreign) == 0;
    m_console.line(allBack ? "  all its data is on the drive again, and read back; the journal is deleted"
                           : "  the journal is deleted; see the exported data for what was not put back");
    return allBack ? kExitPass : kExitNotRestored;
}

}  // namespace drivetest
