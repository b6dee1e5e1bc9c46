#pragma once

#include <sys/types.h>

#include <string>

#include "libDrive2/linux/SysfsBlock.h"

namespace libDrive2 {

/// "partuuid:UUID" as the partition table has it; empty where it cannot be read or has none.
std::string partitionIdOf(const SysfsBlock& partition, dev_t number);

/// The UUID of the array that a device is a member of; empty where it cannot be read.
std::string memberUuidOf(dev_t member);

}  // namespace libDrive2
