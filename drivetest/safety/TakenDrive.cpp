#include "drivetest/safety/TakenDrive.h"

#include "drivetest/resume/ResumeCheck.h"
#include "drivetest/terminal/Labels.h"
#include "drivetest/terminal/Terminal.h"
#include "libDrive2/DeviceDescription.h"
#include "zel/Words.h"

namespace drivetest {

using libDrive2::DeviceLease;
using libDrive2::LeasePurpose;

namespace {

using zel::words;

/// Whoever mounts media as they come in would disturb the test of an optical drive. A disc that is in use
/// already, and a generic node, which cannot be held, are read all the same.
std::unique_ptr<DeviceLease> holdOffMounters(const quix5::DiagDevice& device) {
    libDrive2::DeviceStatus ignored;
    if (!device.hasCapability(quix5::DeviceCapability::SCSIMMC) || libDrive2::isSimulated(device.osLocator()))
        return nullptr;
    return DeviceLease::take(device.osLocator(), LeasePurpose::write, ignored);
}

}  // namespace

std::unique_ptr<TakenDrive> TakenDrive::take(ChosenTest& chosen, const RunOptions& options, Console& console,
                                             ExitStatus& refused) {
    std::unique_ptr<TakenDrive> drive(new TakenDrive(chosen));
    refused = chosen.test->descriptor.isDestructive() ? drive->takeForWriting(options, console)
                                                      : drive->takeForReading(console);
    if (refused != kExitPass)
        return nullptr;
    if (!drive->isTheOne(options.identity)) {
        complain(
            words("{drive} is another drive now than when the run on several drives began: nothing is "
                  "done with it",
                  {{"drive", chosen.device.osLocator()}}));
        refused = kExitCannotRun;
        return nullptr;
    }
    // A run that goes on has to find the drive as it was at the beginning of the first.
    if (options.resumed != nullptr)
        refused = checkResumed(*options.resumed, *drive);
    else
        drive->takeFingerprint();
    return refused == kExitPass ? std::move(drive) : nullptr;
}

std::optional<libDrive2::DriveIdentity> TakenDrive::identity() const {
    if (held.isHeld())
        return held.identity();
    return readLease != nullptr ? std::optional(identityOf(*readLease, chosen.device)) : std::nullopt;
}

/// By its turn, hours later, another one may have the path.
bool TakenDrive::isTheOne(const std::string& wanted) const {
    libDrive2::DriveIdentity before;
    const auto now = identity();
    return wanted.empty() || !now || !libDrive2::DriveIdentity::fromText(wanted, before) ||
           libDrive2::isSameDrive(*now, before);
}

/// Of what is gone with the process nobody asks later.
void TakenDrive::takeFingerprint() {
    const quix5::TestTraits& traits = chosen.test->entry->traits;
    const bool isChanging = chosen.writes && !preservesData(*chosen.test);
    if (!traits.comparesData || traits.sectorsDone == nullptr || isChanging || obstacle ||
        lease() == nullptr || !lease()->outlivesProcess())
        return;
    zel::Wording ignored;
    if (const auto handle = lease()->openBlock(false, ignored))
        fingerprint = libDrive2::takeFingerprint(*handle);
}

ExitStatus TakenDrive::takeForReading(Console& console) {
    readLease = holdOffMounters(chosen.device);
    if (readLease != nullptr)
        return kExitPass;
    libDrive2::DeviceStatus failure;
    readLease = DeviceLease::take(chosen.device.osLocator(), LeasePurpose::read, failure);
    if (failure.type == libDrive2::LIBDRIVE2_BUSY) {
        complain(words("{reason}: wait until it has ended, then try again", {{"reason", failure.text}}));
        return kExitBusy;
    }
    if (readLease == nullptr)
        return kExitPass;
    for (const zel::String& user : readLease->users())
        console.line(eventLabel(words("note:")) +
                     words("{user}; reading does no harm, but rates may be lower", {{"user", user}}));
    tellOfRest(chosen.device, *readLease, console);
    tellOfFormat(chosen.device, console);
    return kExitPass;
}

ExitStatus TakenDrive::takeForWriting(const RunOptions& options, Console& console) {
    held.take(chosen.device);
    obstacle = findObstacle(chosen.device, held, options.allowUnexamined);
    tellOfFormat(chosen.device, console);
    if (!chosen.writes)
        return kExitPass;
    const ExitStatus confirmed = confirmWriting(
        {*chosen.test, chosen.device, held, obstacle, options.confirm, options.prompts && isTerminal(stdin)},
        console);
    if (confirmed != kExitPass || obstacle)
        return confirmed;
    // What an optical test writes replaces what the medium holds; there is nothing to put back.
    if (chosen.isOptical())
        return kExitPass;
    return journal.prepare({chosen.device, held, options.journalFolder, preservesData(*chosen.test),
                            options.journal, options.verifyRestores},
                           console);
}

}  // namespace drivetest
