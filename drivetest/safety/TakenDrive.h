#pragma once

#include <memory>
#include <optional>
#include <string>

#include "drivetest/commands/RunOptions.h"
#include "drivetest/run/Setup.h"
#include "drivetest/safety/HeldDrive.h"
#include "drivetest/safety/RunJournal.h"
#include "drivetest/safety/SafeStart.h"
#include "drivetest/terminal/Console.h"
#include "libDrive2/DeviceLease.h"
#include "libDrive2/DriveFingerprint.h"
#include "libDrive2/DriveIdentity.h"

namespace drivetest {

/// The drive of a run, taken for the chosen test and given back with this object. A test that reads keeps
/// those that write away; one that writes has the drive alone, was confirmed for it, and has its journal.
struct TakenDrive {
    /// Blocks while a person is asked. Null, with the exit status in `refused`, after a sentence that says
    /// why. `chosen` must outlive the drive; what its device is comes from the drive in hand from now on.
    static std::unique_ptr<TakenDrive> take(ChosenTest& chosen, const RunOptions& options, Console& console,
                                            ExitStatus& refused);

    ChosenTest& chosen;
    HeldDrive held;  ///< for a test that writes
    /// For one that only reads; null where it could not be had: opening it for the test will tell.
    std::unique_ptr<libDrive2::DeviceLease> readLease;
    std::optional<Obstacle> obstacle;  ///< what the guard of tests that write will refuse
    RunJournal journal;
    /// What it holds at some places, for tests that depend on that and can go on later.
    std::optional<libDrive2::DriveFingerprint> fingerprint;

    /// The lease that is held, for whatever; null when there is none.
    [[nodiscard]] libDrive2::DeviceLease* lease() const {
        return held.isHeld() ? &held.lease() : readLease.get();
    }
    /// What the drive is; nothing when it is not in hand.
    [[nodiscard]] std::optional<libDrive2::DriveIdentity> identity() const;

private:
    explicit TakenDrive(ChosenTest& test) : chosen(test) {}
    ExitStatus takeForReading(Console& console);
    ExitStatus takeForWriting(const RunOptions& options, Console& console);
    void takeFingerprint();
    [[nodiscard]] bool isTheOne(const std::string& wanted) const;
};

}  // namespace drivetest
