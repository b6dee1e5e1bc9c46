#include "drivetest/shelf/ResumedDrives.h"

#include <algorithm>
#include <utility>

#include "drivetest/resume/ResumeFile.h"
#include "drivetest/resume/ResumedRun.h"
#include "drivetest/shelf/Confirmations.h"
#include "libDrive2/DriveIdentity.h"

namespace drivetest {

namespace {

bool areOne(const DriveWork& drive, const ResumedRun& resumed) {
    return drive.device == resumed.run.drive.location ||
           (drive.identity && (libDrive2::isSameDrive(*drive.identity, resumed.identity) ||
                               libDrive2::sharesStorage(*drive.identity, resumed.identity)));
}

DriveWork workOn(const ResumedRun& resumed) {
    const RecordedDrive& recorded = resumed.run.drive;
    DriveWork drive{recorded.location, recorded.location};
    if (!recorded.serial.empty())
        drive.name = recorded.model + (recorded.model.empty() ? "" : " ") + recorded.serial;
    drive.identity = resumed.identity;
    return drive;
}

}  // namespace

ShelfWork shelfWorkOf(const ResumeOptions& options, const std::vector<std::string>& records) {
    ShelfWork work;
    const ShelfOptions& shelf = options.run.shelf;
    work.isKept = false;  // the records say it all
    work.jobs = shelf.jobs.value_or(0);
    work.folder = shelf.folder.empty() ? options.folder : shelf.folder;
    work.hangSeconds = shelf.hangSeconds;
    Confirmations confirmations(options.run);
    std::vector<std::string> confirmed;  ///< of each drive
    for (const std::string& record : records) {
        std::string ignored;
        const auto resumed = readResumed(record, ignored);
        if (resumed == nullptr)
            continue;
        auto drive = std::ranges::find_if(
            work.drives, [&resumed](const DriveWork& each) { return areOne(each, *resumed); });
        if (drive == work.drives.end()) {
            const RecordedDrive& recorded = resumed->run.drive;
            drive = work.drives.insert(drive, workOn(*resumed));
            confirmed.push_back(
                confirmations.take(recorded.serial.empty() ? recorded.location : recorded.serial));
        }
        RunOptions& run = drive->runs.emplace_back(options.run);
        run.shelf = {};
        run.resume = record;
        run.test = resumed->run.test;
        run.device = drive->device;
        run.confirm = confirmed[static_cast<std::size_t>(drive - work.drives.begin())];
    }
    return work;
}

}  // namespace drivetest
