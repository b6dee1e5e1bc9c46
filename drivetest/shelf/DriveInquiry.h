#pragma once

#include <optional>
#include <string>
#include <vector>

#include "libDrive2/DriveIdentity.h"
#include "quix5/DiagDevice.h"

namespace drivetest {

/// What is wanted of a drive.
struct DriveQuestion {
    std::string locator;
    bool isToBeWritten = false;  ///< then its sectors are looked at, too
};

/// What a drive is, and who uses it.
struct DriveAnswer {
    std::string error{};  ///< why the locator names no drive at all, a sentence; then nothing else is told
    quix5::DiagDevice device{};
    std::optional<libDrive2::DriveIdentity> identity{};  ///< where it could be opened
    std::string problem{};                               ///< why it could not be, a sentence
    bool isSilent = false;                               ///< it did not answer, `problem` says so
    std::vector<std::string> users{};                    ///< who uses it now
    std::string whyNotToWrite{};  ///< what of the drive itself forbids to write to it, a sentence
};

/// Asks drives what they are, all at the same time, and gives their answers in that order. This process opens
/// none of them: one that keeps whoever opens it has nothing but a silent answer.
std::vector<DriveAnswer> askDrives(const std::vector<DriveQuestion>& questions);

/// For the process that tests the drive later, so that it is not another one by then; empty where nothing
/// lasting is known of it.
std::string lastingIdentity(const std::optional<libDrive2::DriveIdentity>& identity);

}  // namespace drivetest
