#include "libDrive2/JournalRecovery.h"
#include "libDrive2/journal/SlotMarks.h"
#include "libDrive2/journal/SlotRecovery.h"
#include "zel/Format.h"

namespace libDrive2 {

namespace {

/// Why nothing can be done; empty when it can.
zel::String refusal(const RecoveryTask& task) {
    const JournalContents& journal = *task.journal;
    if (journal.state != JournalState::valid)
        return journal.problem;
    if (!(task.driveIdentity == journal.header.drive))
        return zel::format("the journal is of another drive (%s), not of this one (%s)",
                           journal.header.drive.describe(), task.driveIdentity.describe());
    const BlockDeviceInfo& drive = task.drive->info();
    if (drive.logicalSectorBytes != journal.header.drive.sectorBytes ||
        drive.bytes / drive.logicalSectorBytes != journal.header.drive.sectors)
        return zel::format(
            "the drive has another size than when the journal was written: %u bytes in sectors of %u",
            drive.bytes, drive.logicalSectorBytes);
    return {};
}

}  // namespace

RecoveryReport recover(const RecoveryTask& task) {
    RecoveryReport report;
    report.slotsLeft = task.journal->open.size() + task.journal->damaged.size();
    report.problem = refusal(task);
    if (!report.problem.isEmpty())
        return report;
    SectorMatcher matcher(task.journal->expected, task.driveIdentity.sectorBytes);
    for (const JournalSlot& slot : task.journal->open) {
        SlotRecovery recovery(task, slot, matcher);
        if (recovery.run()) {
            if (const DeviceStatus closed = closeSlot(*task.journalFile, *task.journal, slot); closed.ok())
                --report.slotsLeft;
            else
                report.problem = "the journal could not be written: " + closed.text;
        }
        recovery.addTo(report);
    }
    return report;
}

}  // namespace libDrive2
