#pragma once

#include <string>

namespace drivetest {

/// The device property that says how a drive is reached, and what it may hold.
inline constexpr const char* kAccessOrderProperty = "__libDriveTest_AccessOrder";
inline constexpr const char* kAccessOrderForms =
    "DriveTestSearchOrder:N:N..., tried in this order:\n"
    "1 ATA, 2 SCSI, 3 optical, 4 USB floppy, 5 floppy, 6 block device,\n"
    "7 block device with SCSI, 8 NVMe";

/// Whether the text has that form.
bool isAccessOrder(const std::string& text);

}  // namespace drivetest
