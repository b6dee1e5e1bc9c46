#pragma once

#include <memory>
#include <optional>

#include "libDrive2/AtaDevice.h"
#include "libDrive2/BlockHandle.h"
#include "libDrive2/NVMeDevice.h"
#include "libDrive2/ScsiPassThrough.h"
#include "libDrive2/sim/SimIdentity.h"
#include "zel/String.h"

namespace libDrive2 {

// Openers of simulated drives. Handles that are open on the same locator at the same time are handles of
// one drive: they share its contents, its faults' counts and its state, and are used by one thread at a
// time. Null when the locator is malformed, its backing file cannot be opened, or the kind has no such
// interface; the reason is kept with noteOpenError(). Any thread may open.

std::unique_ptr<BlockHandle> openSimBlockDevice(const zel::String& locator, std::uint32_t desiredAccess);
/// Without kAccessWrite, commands that write are not delivered.
std::unique_ptr<ScsiPassThrough> openSimScsiDevice(const zel::String& locator, std::uint32_t desiredAccess);
std::unique_ptr<AtaDevice> openSimAtaDevice(const zel::String& locator);
std::unique_ptr<NVMeDevice> openSimNVMeDevice(const zel::String& locator);

/// Nothing when the drive cannot be opened; `error` then tells why.
std::optional<SimIdentity> describeSimDevice(const zel::String& locator, zel::String& error);

}  // namespace libDrive2
