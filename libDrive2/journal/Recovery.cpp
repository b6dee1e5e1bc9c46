#include <algorithm>
#include <deque>

#include "libDrive2/JournalRecovery.h"
#include "libDrive2/journal/SlotMarks.h"
#include "libDrive2/journal/SlotRecovery.h"
#include "zel/Format.h"
#include "zel/Words.h"

namespace libDrive2 {

using zel::words;

namespace {

/// Whether it is the journal's drive, or the person says so where the system proves nothing lasting.
bool mayBeItsDrive(const RecoveryTask& task) {
    const DriveIdentity& drive = task.journal->header.drive;
    return isSameDrive(task.driveIdentity, drive) ||
           (task.isNamed && (!isStable(task.driveIdentity) || !isStable(drive)));
}

bool hasItsSize(const RecoveryTask& task) {
    const BlockDeviceInfo& drive = task.drive->info();
    const DriveIdentity& before = task.journal->header.drive;
    return drive.logicalSectorBytes == before.sectorBytes &&
           drive.bytes / drive.logicalSectorBytes == before.sectors;
}

/// Why nothing can be done; empty when it can.
zel::String refusal(const RecoveryTask& task, RecoveryReport& report) {
    const JournalContents& journal = *task.journal;
    if (journal.state != JournalState::valid)
        return journal.problem;
    report.isOtherDrive = !task.force && !mayBeItsDrive(task);
    if (report.isOtherDrive)
        return words("the journal is of another drive ({other}), not of this one ({drive})",
                     {{"other", journal.header.drive.describe()}, {"drive", task.driveIdentity.describe()}});
    if (!hasItsSize(task))
        return words(
            "the drive has another size than when the journal was written: {n} bytes in sectors of {bytes}",
            {{"n", task.drive->info().bytes}, {"bytes", task.drive->info().logicalSectorBytes}});
    return {};
}

/// Compares what the run did not change. Why nothing can be done; empty when it can.
zel::String findChanges(const RecoveryTask& task, const SectorExcuse& isOfRun, RecoveryReport& report) {
    const JournalContents& journal = *task.journal;
    std::vector<SectorSpan> except;
    bool isUnknown = false;
    for (const auto* slots : {&journal.open, &journal.damaged})
        for (const JournalSlot& slot : *slots) {
            isUnknown = isUnknown || slot.count == 0;
            except.insert(except.end(), slot.spans.begin(), slot.spans.end());
        }
    report.fingerprint = compareFingerprint(*task.drive, journal.header.fingerprint, except, isOfRun);
    if (report.fingerprint.changed == 0 || task.force)
        return {};
    const std::string changes = words(
        "{changed} of {all} places looked at on the drive, the first at sector {lba}, have changed since the "
        "run "
        "began: somebody has written to it since, or it is another drive",
        {{"changed", report.fingerprint.changed},
         {"all", report.fingerprint.compared},
         {"lba", report.fingerprint.firstChanged}});
    return isUnknown ? words("{reason}; or the run did, in sectors that the damaged journal no longer knows",
                             {{"reason", changes}})
                     : changes;
}

/// What a killed run left may only be remembered by the host; marks must not become durable before it.
zel::String settleFile(const RecoveryTask& task) {
    const DeviceStatus status = task.dryRun ? DeviceStatus{} : task.journalFile->flush();
    return status.ok() ? std::string()
                       : words("the journal could not be made durable: {reason}", {{"reason", status.text}});
}

/// Newest first: what a later slot protected may have been written over an earlier one.
std::deque<SlotRecovery> examineSlots(const RecoveryTask& task, SectorMatcher& matcher) {
    std::deque<SlotRecovery> slots;
    for (auto slot = task.journal->open.rbegin(); slot != task.journal->open.rend(); ++slot)
        slots.emplace_back(task, *slot, matcher).examine();
    return slots;
}

bool areAllEqual(const std::deque<SlotRecovery>& slots) {
    return !slots.empty() && std::all_of(slots.begin(), slots.end(),
                                         [](const SlotRecovery& slot) { return slot.isAllEqual(); });
}

}  // namespace

RecoveryReport recover(const RecoveryTask& task) {
    RecoveryReport report;
    report.slotsLeft = task.journal->open.size() + task.journal->damaged.size();
    report.problem = refusal(task, report);
    if (!report.problem.isEmpty())
        return report;
    SectorMatcher matcher(task.journal->expected, task.journal->header.drive.sectorBytes);
    std::deque<SlotRecovery> slots = examineSlots(task, matcher);
    // On a drive that has a sector behind several addresses, what the run stamped shows behind the others.
    const auto isOfRun = [&](Bytes sector) {
        return matcher.hasStamp(sector) ||
               std::any_of(slots.begin(), slots.end(),
                           [sector](const SlotRecovery& slot) { return slot.holdsTorn(sector); });
    };
    report.problem = findChanges(task, isOfRun, report);
    if (report.problem.isEmpty())
        report.problem = settleFile(task);
    if (!report.problem.isEmpty())
        return report;
    report.mayBeCopy =
        !task.force && !isSameDrive(task.driveIdentity, task.journal->header.drive) && areAllEqual(slots);
    for (SlotRecovery& slot : slots) {
        if (!task.dryRun && !report.mayBeCopy && slot.run()) {
            if (const DeviceStatus closed = closeSlot(*task.journalFile, *task.journal, slot.slot());
                closed.ok())
                --report.slotsLeft;
            else
                report.problem =
                    words("the journal could not be written: {reason}", {{"reason", closed.text}});
        }
        slot.addTo(report);
    }
    return report;
}

}  // namespace libDrive2
