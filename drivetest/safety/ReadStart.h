#pragma once

#include <memory>

#include "drivetest/ExitStatus.h"
#include "drivetest/terminal/Console.h"
#include "libDrive2/DeviceLease.h"
#include "quix5/DiagDevice.h"

namespace drivetest {

/// Takes the drive for a test that reads: tests that write are kept from it as long as `lease` lives. Says
/// who else uses it. Gives kExitBusy, after a sentence, while such a test runs. What cannot be taken for
/// another reason gets no lease: opening it for the test will tell.
ExitStatus takeForReading(const quix5::DiagDevice& device, std::unique_ptr<libDrive2::DeviceLease>& lease,
                          Console& console);

/// Says what of a file is no whole sector, and therefore not tested.
void tellOfRest(const quix5::DiagDevice& device, const libDrive2::DeviceLease& lease, Console& console);

}  // namespace drivetest
