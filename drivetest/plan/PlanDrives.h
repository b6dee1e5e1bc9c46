#pragma once

#include <optional>
#include <string>
#include <vector>

#include "drivetest/plan/Plan.h"
#include "libDrive2/DriveIdentity.h"
#include "quix5/DiagDevice.h"

namespace drivetest {

/// A drive that a plan names, as it was found.
struct PresentDrive {
    const PlannedDrive* planned = nullptr;
    std::string locator{};  ///< the path in the plan, or that of the inventory
    quix5::DiagDevice device{};
    std::optional<libDrive2::DriveIdentity> identity{};  ///< where it could be opened
    std::string problem{};                               ///< why it could not be, a sentence
    bool isSilent = false;                               ///< because it does not answer
    bool isNone = false;                                 ///< no drive at all
    std::vector<std::string> users{};                    ///< who uses it now
    bool isSerialShared = false;                         ///< another drive here has it, too
    std::string whyNotToWrite{};  ///< what of the drive itself forbids to write to it, a sentence

    /// For people, in messages.
    [[nodiscard]] std::string name() const;
};

/// All drives that the plan names, each once; `faults` gets what names none, several, or one drive twice, by
/// whatever names. Each is asked what it is, apart from this process. The plan must outlive them.
std::vector<PresentDrive> findDrives(const Plan& plan, std::vector<PlanFault>& faults);

}  // namespace drivetest
