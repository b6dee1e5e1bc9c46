#pragma once

#include <memory>
#include <optional>

#include "libDrive2/BlockHandle.h"
#include "libDrive2/ScsiPassThrough.h"
#include "libDrive2/sim/SimIdentity.h"
#include "libDrive2/sim/optical/OpticalDrive.h"
#include "zel/String.h"

namespace libDrive2 {

// Openers of simulated optical drives; what SimDevices.h says of its openers is true of these.

/// Whether the locator is one of an optical drive, without a mistake.
bool isOpticalLocator(const zel::String& locator);

/// Null, with the reason noted, when the drive cannot be made.
std::shared_ptr<OpticalDrive> openOpticalDrive(const zel::String& locator);

std::unique_ptr<BlockHandle> openOpticalBlockDevice(const zel::String& locator, std::uint32_t desiredAccess);
std::unique_ptr<ScsiPassThrough> openOpticalScsiDevice(const zel::String& locator,
                                                       std::uint32_t desiredAccess);
std::optional<SimIdentity> describeOpticalDevice(const zel::String& locator, zel::String& error);

}  // namespace libDrive2
