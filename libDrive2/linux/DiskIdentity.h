#pragma once

#include <string>

#include "libDrive2/linux/SysfsBlock.h"

namespace libDrive2 {

/// What the system proves of a whole disk for good: its WWID (which of NVMe names the namespace by EUI-64,
/// NGUID or UUID), else a serial number with model and size. Empty when that is nothing: of a USB
/// adapter, which gives its own serial number for every drive in it, for one.
std::string lastingIdOf(const SysfsBlock& disk);

/// The disk's id until it is taken away or the system restarts.
std::string passingIdOf(const SysfsBlock& device, dev_t number);

}  // namespace libDrive2
