#pragma once

#include <cstdint>

#include "libDrive2/DriveIdentity.h"
#include "libDrive2/windows/WindowsTarget.h"

namespace libDrive2 {

/// What the system proves of a disk or an optical drive for good: the name by which the whole world knows it,
/// else a serial number with model and size. Empty when that is nothing: of a USB adapter, which gives its
/// own serial number for every drive in it, for one.
StorageId lastingIdOf(HANDLE device);

/// Fills in what the target is (id, storage, carriers); sizes and names stay as they are. The disks below are
/// asked by names of the system's own, which lead to no others while a volume on them is open.
void identifyStorage(HANDLE opened, const WindowsTarget& target, DriveIdentity& identity);

}  // namespace libDrive2
