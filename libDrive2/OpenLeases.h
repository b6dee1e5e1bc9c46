#pragma once

#include "libDrive2/DeviceLease.h"

namespace libDrive2 {

/// The leases of this process. Openers and guards ask here first, so that a locator leads to the drive in
/// hand and not to what its path means by now. Any thread may call.
class OpenLeases {
public:
    /// A lease is known from add() to remove(), by its locator.
    static void add(DeviceLease& lease);
    static void remove(const DeviceLease& lease);
    /// The latest lease on the locator, or whose descriptor it names; null when there is none. Not owned:
    /// valid as long as its owner keeps it.
    static DeviceLease* find(const zel::String& locator);
    /// Where to open what the locator names: the descriptor of the drive in hand, else the locator itself.
    static zel::String pathOf(const zel::String& locator);
};

}  // namespace libDrive2
