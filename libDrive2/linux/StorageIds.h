#pragma once

#include <sys/types.h>

#include <string>

#include "libDrive2/DriveIdentity.h"
#include "libDrive2/linux/SysfsBlock.h"
#include "libDrive2/linux/SysfsScsi.h"

namespace libDrive2 {

/// What the system proves of a whole disk for good: its WWID (which of NVMe names the namespace by EUI-64,
/// NGUID or UUID), else a serial number with model and size. Empty when that is nothing: of a USB
/// adapter, which gives its own serial number for every drive in it, for one.
StorageId lastingIdOf(const SysfsBlock& disk);

/// The same of a drive without a block interface: what it would have there.
StorageId lastingIdOf(const SysfsScsi& drive);

/// The device's id until it is taken away or the system restarts.
StorageId passingIdOf(const SysfsBlock& device, dev_t number);
StorageId passingIdOf(const SysfsScsi& drive);

/// By the UUID that the partition table has; empty where it cannot be read or has none.
StorageId partitionIdOf(const SysfsBlock& partition);

/// By the UUID that its members bear; empty where it cannot be read, and of what is no array.
StorageId arrayIdOf(const SysfsBlock& array);

/// What tells a file from all others: its file system, its inode, and when it was made. Only until the
/// restart where nothing lasting is known of the file system. `path` may lead to the file, and tells more
/// where it does.
StorageId fileIdOf(dev_t fileSystem, ino_t inode, const std::string& path);

}  // namespace libDrive2
