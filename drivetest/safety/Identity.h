#pragma once

#include <string>

#include "libDrive2/DriveIdentity.h"
#include "quix5/DiagDevice.h"

namespace drivetest {

/// What tells the drive from others, as a journal keeps it. What has neither model nor serial number, such as
/// an image file, is known by its full path. False after a sentence in `error`.
bool identify(const quix5::DiagDevice& device, libDrive2::DriveIdentity& identity, std::string& error);

/// Whether no other drive can have this identity: by a serial number, or by the path of a file.
bool isUnmistakable(const libDrive2::DriveIdentity& identity);

/// Whether both are the same drive, though perhaps of another size now.
bool isSameDrive(const libDrive2::DriveIdentity& a, const libDrive2::DriveIdentity& b);

}  // namespace drivetest
