#pragma once

#include <optional>
#include <string>

#include "drivetest/ExitStatus.h"
#include "drivetest/safety/HeldDrive.h"
#include "drivetest/terminal/Console.h"
#include "quix5/DiagDevice.h"
#include "quix5/Module.h"

namespace drivetest {

/// What to type to confirm a test that writes: the serial number, or the locator of a drive without one.
std::string confirmationOf(const quix5::DiagDevice& device);

/// Says what of a file is no whole sector, and therefore not tested.
void tellOfRest(const quix5::DiagDevice& device, const libDrive2::DeviceLease& lease, Console& console);

/// Says what is unlike other drives in how it is formatted.
void tellOfFormat(const quix5::DiagDevice& device, Console& console);

/// Whether the test, with the parameters that are set, writes to the drive.
bool writesToDrive(const quix5::OfferedTest& test);

/// Whether the test, with the parameters that are set, puts back what it overwrites.
bool preservesData(const quix5::OfferedTest& test);

/// Why a drive must not be written to, and what to do about it.
struct Obstacle {
    ExitStatus status;
    std::string reason;
    std::string advice;
    bool isKnownToTest = true;  ///< the guard of tests that write sees it too, and says so in the record
};
/// Looks for an encrypted volume, for sectors that could tell of one and cannot be read (unless
/// `allowUnexamined`), for a user of the drive, and whether the drive could be taken.
std::optional<Obstacle> findObstacle(const quix5::DiagDevice& device, const HeldDrive& held,
                                     bool allowUnexamined);
/// Of a drive that was only taken to be looked at: what of the drive itself keeps it from being written to,
/// whoever uses it.
std::optional<Obstacle> findLastingObstacle(const quix5::DiagDevice& device, libDrive2::DeviceLease& lease);

/// How a test that writes is to be confirmed.
struct ConfirmationRequest {
    const quix5::OfferedTest& test;
    const quix5::DiagDevice& device;
    const HeldDrive& held;
    const std::optional<Obstacle>& obstacle;
    std::string given;  ///< what the user gave already; empty for nothing
    bool mayAsk;        ///< somebody is there to answer
};
/// Shows what is on the drive and has it confirmed that it may be written to. Blocks while a person thinks.
/// Gives kExitPass when it may; else the exit status, after a sentence that says why.
ExitStatus confirmWriting(const ConfirmationRequest& request, Console& console);

}  // namespace drivetest
