#pragma once

#include <cstdint>

#include "zel/Export.h"

namespace libDrive2 {

/// Codes of DriveCallback::onDriveNotify.
enum DriveNotification : std::uint32_t {
    kNotifyAdvancedError = 3,   ///< an error of the drive itself was seen
    kNotifyRecoveredError = 4,  ///< an error was overcome, by the drive or by retrying
};

/// Notification sink installed on a drive, which owns it. Called inside the drive operation that caused
/// the notification, on its thread; the drive's getLastErrorStr() tells the error.
class DRIVETEST_API DriveCallback {
public:
    virtual void onDriveNotify(std::uint32_t code) = 0;
    virtual ~DriveCallback() = default;
};

/// Notification sink of recordable drives: the progress of long operations.
class DRIVETEST_API RecordableDriveCallback {
public:
    /// Event types: 0 formatting, 1 cannot format, 2 format not supported, 3 blanking, 4 cannot blank,
    /// 5 reserving a track, 6 cannot find free sectors.
    virtual void handleResult(std::int32_t eventType) = 0;
    virtual ~RecordableDriveCallback() = default;
};

}  // namespace libDrive2
