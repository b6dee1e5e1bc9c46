#include "drivetest/resume/ResumeCheck.h"

#include <string>
#include <vector>

#include "drivetest/safety/TakenDrive.h"
#include "drivetest/terminal/Terminal.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

/// What is bad may read as anything.
std::vector<libDrive2::SectorSpan> badSpans(const ResumedRun& resumed) {
    return resumed.statistics != nullptr ? resumed.statistics->badSectors().ranges()
                                         : std::vector<libDrive2::SectorSpan>();
}

/// What is different; empty for nothing.
std::string findDifference(const ResumedRun& resumed, const TakenDrive& drive) {
    const std::string name = drive.chosen.device.osLocator().utf8();
    const auto identity = drive.identity();
    if (!identity || !libDrive2::isSameDrive(*identity, resumed.identity))
        return words("nothing proves that {drive} is the drive of the run", {{"drive", name}});
    if (identity->sectors != resumed.run.drive.sectors ||
        identity->sectorBytes != resumed.run.drive.sectorBytes)
        return words("{drive} has another size now: {n} sectors of {bytes} bytes, and had {before} of {old}",
                     {{"drive", name},
                      {"n", identity->sectors},
                      {"bytes", identity->sectorBytes},
                      {"before", resumed.run.drive.sectors},
                      {"old", resumed.run.drive.sectorBytes}});
    if (!resumed.fingerprint)
        return {};
    zel::Wording reason;
    const auto handle = drive.lease()->openBlock(false, reason);
    if (!handle)
        return reason.shown().utf8();
    const auto finding = libDrive2::compareFingerprint(*handle, *resumed.fingerprint, badSpans(resumed));
    if (finding.changed == 0)
        return {};
    return words(
        "{drive} was written to since the run began, for example sector {lba}, and the test depends on what "
        "it holds: start a new run",
        {{"drive", name}, {"lba", finding.firstChanged}});
}

}  // namespace

ExitStatus checkResumed(const ResumedRun& resumed, const TakenDrive& drive) {
    const std::string difference = findDifference(resumed, drive);
    if (difference.empty())
        return kExitPass;
    complain(words("{file} cannot be resumed: {reason}",
                   {{"file", printable(resumed.run.file)}, {"reason", printable(difference)}}));
    return kExitUsage;
}

}  // namespace drivetest
